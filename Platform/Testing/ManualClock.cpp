// SPDX-License-Identifier: LicenseRef-Quillmount
#include "Platform/Testing/ManualClock.h"

#include <QCoreApplication>
#include <QEvent>

#include <algorithm>

namespace quillmount {

namespace {
void handleQueuedEvents() {
    QCoreApplication::processEvents();
    QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
    QCoreApplication::processEvents();
}
} // namespace

Clock::TimerId ManualClock::schedule(Duration delay, std::function<void()> action) {
    const TimerId id = ++m_lastId;
    m_calls.emplace(Key(m_uptime + std::max(delay, Duration::zero()), id), std::move(action));
    return id;
}

void ManualClock::cancel(TimerId id) {
    std::erase_if(m_calls, [id](const auto &call) { return call.first.second == id; });
}

std::optional<Clock::Duration> ManualClock::nextDue() const {
    if (m_calls.empty())
        return std::nullopt;
    return m_calls.begin()->first.first - m_uptime;
}

void ManualClock::advance(Duration duration) {
    const Duration until = m_uptime + duration;
    handleQueuedEvents();
    while (fireNext(until)) {
    }
    moveTo(until);
}

bool ManualClock::advanceUntil(const std::function<bool()> &condition, Duration limit) {
    const Duration until = m_uptime + limit;
    handleQueuedEvents();
    while (!condition()) {
        if (!fireNext(until)) {
            moveTo(until);
            return condition();
        }
    }
    return true;
}

bool ManualClock::fireNext(Duration until) {
    const auto next = m_calls.begin();
    if (next == m_calls.end() || next->first.first > until)
        return false;
    // Out of the table before it runs: it may schedule, cancel, or destroy what scheduled it.
    const auto call = m_calls.extract(next);
    moveTo(call.key().first);
    call.mapped()();
    handleQueuedEvents();
    return true;
}

void ManualClock::moveTo(Duration uptime) {
    // An action that itself let time pass has moved further than this already.
    const Duration step = std::max(uptime - m_uptime, Duration::zero());
    m_uptime += step;
    m_now += step;
}

} // namespace quillmount
