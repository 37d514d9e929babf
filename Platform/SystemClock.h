// SPDX-License-Identifier: LicenseRef-Quillmount
#pragma once

#include "Platform/Clock.h"

#include <QElapsedTimer>
#include <QHash>
#include <QTimer>

namespace quillmount {

// Real time, on the event loop of the thread that made it.
class SystemClock final : public Clock {
public:
    SystemClock();
    ~SystemClock() override;
    Q_DISABLE_COPY_MOVE(SystemClock)

    [[nodiscard]] Instant now() const override;
    [[nodiscard]] Duration uptime() const override;
    TimerId schedule(Duration delay, std::function<void()> action) override;
    void cancel(TimerId id) override;

private:
    QElapsedTimer m_started;
    QHash<TimerId, QTimer *> m_timers;
    TimerId m_lastId = 0;
};

} // namespace quillmount
