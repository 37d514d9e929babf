// SPDX-License-Identifier: LicenseRef-Quillmount
#pragma once

#include <coroutine>
#include <deque>
#include <exception>
#include <optional>
#include <utility>
#include <vector>

namespace quillmount::mount {

// The coroutines that may go on. The whole program runs on one thread, so there is one queue; the event loop empties
// it. Resuming from a queue instead of from inside a callback keeps the libraries' callbacks shallow and free of
// surprises.
inline std::deque<std::coroutine_handle<>> &readyQueue() {
    static std::deque<std::coroutine_handle<>> queue;
    return queue;
}

template <class T>
class Task;

namespace detail {

template <class T>
struct PromiseBase {
    struct Final {
        bool await_ready() const noexcept { return false; }
        template <class Promise>
        std::coroutine_handle<> await_suspend(std::coroutine_handle<Promise> self) const noexcept {
            return self.promise().continuation;
        }
        void await_resume() const noexcept {}
    };

    std::suspend_always initial_suspend() const noexcept { return {}; }
    Final final_suspend() const noexcept { return {}; }
    [[noreturn]] void unhandled_exception() const noexcept { std::terminate(); }

    std::coroutine_handle<> continuation = std::noop_coroutine();
};

template <class T>
struct Promise : PromiseBase<T> {
    Task<T> get_return_object();
    // By reference: GCC 12 copies a by-value argument that comes straight from a co_await byte by byte.
    template <class U>
    void return_value(U &&result) {
        value.emplace(std::forward<U>(result));
    }
    T take() { return std::move(*value); }

    std::optional<T> value;
};

template <>
struct Promise<void> : PromiseBase<void> {
    Task<void> get_return_object();
    void return_void() const noexcept {}
    void take() const noexcept {}
};

} // namespace detail

// A coroutine that starts when it is awaited and belongs to the one that awaits it.
template <class T>
class [[nodiscard]] Task {
public:
    using promise_type = detail::Promise<T>;

    explicit Task(std::coroutine_handle<promise_type> handle)
        : m_handle(handle) {}
    Task(Task &&other) noexcept
        : m_handle(std::exchange(other.m_handle, {})) {}
    Task &operator=(Task &&) = delete;
    ~Task() {
        if (m_handle)
            m_handle.destroy();
    }

    bool await_ready() const noexcept { return false; }
    std::coroutine_handle<> await_suspend(std::coroutine_handle<> awaiting) noexcept {
        m_handle.promise().continuation = awaiting;
        return m_handle;
    }
    T await_resume() { return m_handle.promise().take(); }

private:
    std::coroutine_handle<promise_type> m_handle;
};

template <class T>
Task<T> detail::Promise<T>::get_return_object() {
    return Task<T>(std::coroutine_handle<Promise<T>>::from_promise(*this));
}

inline Task<void> detail::Promise<void>::get_return_object() {
    return Task<void>(std::coroutine_handle<Promise<void>>::from_promise(*this));
}

// A coroutine that runs by itself and cleans up after itself.
struct Detached {
    struct promise_type { // NOLINT(readability-identifier-naming): what the language looks for
        Detached get_return_object() const noexcept { return {}; }
        std::suspend_never initial_suspend() const noexcept { return {}; }
        std::suspend_never final_suspend() const noexcept { return {}; }
        void return_void() const noexcept {}
        [[noreturn]] void unhandled_exception() const noexcept { std::terminate(); }
    };
};

// Runs `task` without waiting for it.
inline Detached spawn(Task<void> task) {
    co_await task;
}

// Something that coroutines wait for. Each opening wakes those that wait at that moment; a waiter looks at its
// condition again afterwards, because others may have run in between.
class Gate {
public:
    auto wait() {
        struct Awaiter {
            bool await_ready() const noexcept { return false; }
            void await_suspend(std::coroutine_handle<> handle) { gate.m_waiting.push_back(handle); }
            void await_resume() const noexcept {}
            Gate &gate;
        };
        return Awaiter{*this};
    }

    void open() {
        for (const auto handle : std::exchange(m_waiting, {}))
            readyQueue().push_back(handle);
    }

    bool hasWaiters() const { return !m_waiting.empty(); }

private:
    std::vector<std::coroutine_handle<>> m_waiting;
};

} // namespace quillmount::mount
