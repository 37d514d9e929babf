// SPDX-License-Identifier: LicenseRef-Quillmount
#include "Platform/Clock.h"

#include <QCoreApplication>
#include <QMetaObject>

#include <coroutine>
#include <memory>

namespace quillmount {

namespace {

// One sleeping coroutine. It is settled exactly once, by its timer or by the stop request, whichever comes first.
struct Sleeper {
    std::coroutine_handle<> waiter;
    Clock::TimerId timer = 0;
    bool settled = false;
    bool slept = false;
};

struct OnStop {
    Clock *clock;
    std::shared_ptr<Sleeper> sleeper;

    // Resumed from the event loop, never inside the caller: the one who cancels is often a destructor.
    void operator()() const {
        if (sleeper->settled)
            return;
        sleeper->settled = true;
        clock->cancel(sleeper->timer);
        QMetaObject::invokeMethod(
            QCoreApplication::instance(), [waiter = sleeper->waiter] { waiter.resume(); }, Qt::QueuedConnection);
    }
};

struct SleepAwaiter {
    Clock *clock;
    Clock::Duration duration;
    std::stop_token stop;
    std::shared_ptr<Sleeper> sleeper = std::make_shared<Sleeper>();
    std::unique_ptr<std::stop_callback<OnStop>> onStop = nullptr;

    [[nodiscard]] bool await_ready() const { return stop.stop_requested(); }

    void await_suspend(std::coroutine_handle<> waiter) {
        sleeper->waiter = waiter;
        sleeper->timer = clock->schedule(duration, [s = sleeper] {
            if (s->settled)
                return;
            s->settled = true;
            s->slept = true;
            s->waiter.resume();
        });
        onStop = std::make_unique<std::stop_callback<OnStop>>(stop, OnStop{clock, sleeper});
    }

    [[nodiscard]] bool await_resume() const { return sleeper->slept; }
};

} // namespace

QCoro::Task<bool> Clock::sleep(Duration duration, std::stop_token stop) {
    // Named: GCC 12 destroys an aggregate that is made inside a co_await expression twice.
    SleepAwaiter awaiter{this, duration, std::move(stop)};
    co_return co_await std::move(awaiter);
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
