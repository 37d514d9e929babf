// SPDX-License-Identifier: LicenseRef-Quillmount
#include "Platform/SystemClock.h"

namespace quillmount {

SystemClock::SystemClock() {
    m_started.start();
}

SystemClock::~SystemClock() {
    qDeleteAll(m_timers);
}

Clock::Instant SystemClock::now() const {
    return std::chrono::time_point_cast<Duration>(std::chrono::system_clock::now());
}

Clock::Duration SystemClock::uptime() const {
    return Duration(m_started.elapsed());
}

Clock::TimerId SystemClock::schedule(Duration delay, std::function<void()> action) {
    const TimerId id = ++m_lastId;
    auto *timer = new QTimer;
    timer->setSingleShot(true);
    m_timers.insert(id, timer);
    QObject::connect(timer, &QTimer::timeout, timer, [this, id, run = std::move(action)] {
        // The timer is still on the stack here, so it goes with the next turn of the event loop.
        m_timers.take(id)->deleteLater();
        run();
    });
    timer->start(delay);
    return id;
}

void SystemClock::cancel(TimerId id) {
    if (QTimer *timer = m_timers.take(id)) {
        // It may be due in this very turn of the event loop, before it is deleted.
        timer->stop();
        timer->deleteLater();
    }
}

} // namespace quillmount
