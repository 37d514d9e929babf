// SPDX-License-Identifier: LicenseRef-Quillmount
#pragma once

#include <QCoreApplication>
#include <QMetaObject>

#include <coroutine>
#include <memory>
#include <optional>
#include <utility>

namespace quillmount {

// A value that is set once, and that one coroutine awaits, before or after that. Copies are handles to the same value,
// so that the one who sets it need not know whether the coroutine, or its object, is still there. Main thread only; a
// handle may be kept and dropped on any thread. A coroutine whose value is never set never resumes.
template <typename T>
class OneShot {
public:
    // Sets the value and resumes the coroutine inside this call. Only the first value counts: false for a later one.
    bool set(T value) {
        if (!keep(std::move(value)))
            return false;
        // This handle may be gone afterwards.
        if (const auto waiter = std::exchange(m_state->waiter, nullptr))
            waiter.resume();
        return true;
    }

    // The same, but the coroutine resumes from the event loop: for callers that may be destructors.
    bool setLater(T value) {
        if (!keep(std::move(value)))
            return false;
        if (const auto waiter = std::exchange(m_state->waiter, nullptr))
            QMetaObject::invokeMethod(
                QCoreApplication::instance(), [waiter] { waiter.resume(); }, Qt::QueuedConnection);
        return true;
    }

    [[nodiscard]] bool await_ready() const { return m_state->value.has_value(); }
    void await_suspend(std::coroutine_handle<> waiter) const { m_state->waiter = waiter; }
    [[nodiscard]] T await_resume() const { return std::move(*m_state->value); }

private:
    struct State {
        std::optional<T> value;
        std::coroutine_handle<> waiter;
    };

    bool keep(T value) {
        if (m_state->value)
            return false;
        m_state->value = std::move(value);
        return true;
    }

    std::shared_ptr<State> m_state = std::make_shared<State>();
};

} // namespace quillmount
