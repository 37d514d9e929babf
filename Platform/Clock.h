// SPDX-License-Identifier: LicenseRef-Quillmount
#pragma once

#include <QCoroTask>

#include <chrono>
#include <functional>
#include <memory>
#include <stop_token>

namespace quillmount {

// The only source of time above the platform seam. All calls are made on the main thread; callbacks arrive there too.
class Clock {
public:
    using Duration = std::chrono::milliseconds;
    using Instant = std::chrono::time_point<std::chrono::system_clock, Duration>;
    using TimerId = quint64;

    virtual ~Clock() = default;

    // The wall clock: for timestamps, and for what has to make sense after a restart.
    [[nodiscard]] virtual Instant now() const = 0;

    // Time since some fixed moment, never set back: for deadlines.
    [[nodiscard]] virtual Duration uptime() const = 0;

    // Suspends for `duration`. Resolves true when the time has passed, false (at once) when `stop` is requested.
    [[nodiscard]] QCoro::Task<bool> sleep(Duration duration, std::stop_token stop);

    // Calls `action` once after `delay`, from the event loop. The id is good for `cancel` until then.
    virtual TimerId schedule(Duration delay, std::function<void()> action) = 0;

    // Drops a scheduled call; an id that has fired or is unknown is ignored.
    virtual void cancel(TimerId id) = 0;
};

// Calls an action at a fixed period until it is destroyed; the first call comes one period from now.
class RepeatingTimer {
public:
    RepeatingTimer(Clock &clock, Clock::Duration period, std::function<void()> action);
    ~RepeatingTimer();
    Q_DISABLE_COPY_MOVE(RepeatingTimer)

private:
    void arm();

    Clock &m_clock;
    Clock::Duration m_period;
    std::function<void()> m_action;
    Clock::TimerId m_timer = 0;
};

} // namespace quillmount
