// SPDX-License-Identifier: LicenseRef-Quillmount
#pragma once

#include "App/Service/CheckInState.h"
#include "App/Service/QuillmountServer.h"
#include "Platform/Clock.h"

#include <optional>

namespace quillmount {

// Keeps the installation known to the maker's service: checks in at the start, and then at most every six hours.
class PeriodicCheckIn : public QObject {
    Q_OBJECT

public:
    explicit PeriodicCheckIn(QObject *parent = nullptr);

    [[nodiscard]] QuillmountServer &server() { return m_server; }
    [[nodiscard]] CheckInState &state() { return m_state; }

    // Checks in once, and from then on looks every hour whether it is time again.
    void start();
    // Disconnected: what the service has said is forgotten.
    [[nodiscard]] QCoro::Task<> forget();

Q_SIGNALS:
    // The sponsored messages of the last status, after a check-in or when they were forgotten; possibly none, possibly
    // the same.
    void adsReceived(const QList<ServerAd> &ads);

private:
    [[nodiscard]] QCoro::Task<> checkIn();
    void tick();
    void publish();

    QuillmountServer m_server;
    CheckInState m_state;
    // When the last check-in began, by both clocks: one stands still while the machine sleeps, the other can be set.
    std::optional<Clock::Instant> m_lastInstant;
    Clock::Duration m_lastUptime{};
    std::optional<RepeatingTimer> m_timer;
};

} // namespace quillmount
