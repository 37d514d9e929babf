// SPDX-License-Identifier: LicenseRef-Quillmount
#pragma once

#include "Mount/Task.h"

#include <chrono>
#include <cstdint>
#include <functional>
#include <map>
#include <optional>
#include <vector>

namespace quillmount::mount {

// Something with a file descriptor that the loop waits for.
class Pollable {
public:
    virtual ~Pollable() = default;

    // The descriptor, or -1 while there is none.
    virtual int pollDescriptor() const = 0;
    // The poll events of interest now.
    virtual short pollEvents() const = 0;
    virtual void pollReady(short events) = 0;
    // Called before the loop goes to sleep: what can be sent at once is sent without another round.
    virtual void beforeSleep() {}
};

// One thread, one loop: descriptors, timers and ready coroutines. Without timers it sleeps until something happens.
class EventLoop {
public:
    using Clock = std::chrono::steady_clock;
    using Moment = Clock::time_point;
    using TimerKey = std::pair<Moment, std::uint64_t>;

    // `item` must outlive the loop or be removed.
    void add(Pollable *item) { m_items.push_back(item); }
    void remove(Pollable *item);

    TimerKey at(Moment moment, std::function<void()> action);
    void cancel(const TimerKey &key) { m_timers.erase(key); }

    // Runs until `finished` gives true; it is asked once a round.
    void runUntil(const std::function<bool()> &finished);

    // Suspends a coroutine for `duration`.
    auto sleep(Clock::duration duration) {
        struct Awaiter {
            bool await_ready() const noexcept { return false; }
            void await_suspend(std::coroutine_handle<> handle) {
                loop.at(Clock::now() + duration, [handle] { readyQueue().push_back(handle); });
            }
            void await_resume() const noexcept {}
            EventLoop &loop;
            Clock::duration duration;
        };
        return Awaiter{*this, duration};
    }

private:
    void runReady();
    void runTimers();
    int sleepTime() const;

    std::vector<Pollable *> m_items;
    std::map<TimerKey, std::function<void()>> m_timers;
    std::uint64_t m_nextTimer = 0;
};

} // namespace quillmount::mount
