// SPDX-License-Identifier: LicenseRef-Quillmount
#include "Platform/Clock.h"

#include "Platform/OneShot.h"

namespace quillmount {

QCoro::Task<bool> Clock::sleep(Duration duration, std::stop_token stop) {
    if (stop.stop_requested())
        co_return false;
    OneShot<bool> passed;
    const TimerId timer = schedule(duration, [passed]() mutable { passed.set(true); });
    const std::stop_callback onStop(stop, [this, timer, passed]() mutable {
        if (passed.setLater(false))
            cancel(timer);
    });
    const bool slept = co_await passed;
    co_return slept;
}

RepeatingTimer::RepeatingTimer(Clock &clock, Clock::Duration period, std::function<void()> action)
    : m_clock(clock)
    , m_period(period)
    , m_action(std::move(action)) {
    arm();
}

RepeatingTimer::~RepeatingTimer() {
    m_clock.cancel(m_timer);
}

void RepeatingTimer::arm() {
    m_timer = m_clock.schedule(m_period, [this] {
        arm();
        // A copy, because the action may destroy this timer, and with it the original.
        const auto action = m_action;
        action();
    });
}

} // namespace quillmount
