// SPDX-License-Identifier: LicenseRef-Quillmount
#pragma once

#include "Platform/Clock.h"

#include <map>
#include <optional>
#include <utility>

namespace quillmount {

// Time that stands still until a test moves it.
class ManualClock final : public Clock {
public:
    [[nodiscard]] Instant now() const override { return m_now; }
    [[nodiscard]] Duration uptime() const override { return m_uptime; }
    TimerId schedule(Duration delay, std::function<void()> action) override;
    void cancel(TimerId id) override;

    // Lets `duration` pass. Each call that falls due is made at its own moment, in the order of the moments (equal ones
    // in the order in which they were scheduled), and the events that it queued are handled before the next one.
    void advance(Duration duration);

    // Lets time pass from one due call to the next until `condition` holds. False when `limit` passed without it.
    [[nodiscard]] bool advanceUntil(const std::function<bool()> &condition, Duration limit);

    // Sets the wall clock alone, as the user or a time server does.
    void setNow(Instant now) { m_now = now; }

    // How many calls are scheduled.
    [[nodiscard]] qsizetype pending() const { return qsizetype(m_calls.size()); }

    // How long until the next one; absent when there is none.
    [[nodiscard]] std::optional<Duration> nextDue() const;

private:
    bool fireNext(Duration until);
    void moveTo(Duration uptime);

    using Key = std::pair<Duration, TimerId>;

    // 15 January 2026, 12:00 UTC, some hours after the machine was started.
    Instant m_now = Instant(std::chrono::seconds(1'768'478'400));
    Duration m_uptime = std::chrono::hours(5);
    std::map<Key, std::function<void()>> m_calls;
    TimerId m_lastId = 0;
};

} // namespace quillmount
