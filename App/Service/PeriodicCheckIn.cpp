// SPDX-License-Identifier: LicenseRef-Quillmount
#include "App/Service/PeriodicCheckIn.h"

#include "App/Concurrency/Task.h"
#include "Platform/Platform.h"

#include <QPointer>

namespace quillmount {

using namespace std::chrono_literals;

namespace {
constexpr Clock::Duration tickPeriod = 1h;
constexpr Clock::Duration checkInPeriod = 6h;
} // namespace

PeriodicCheckIn::PeriodicCheckIn(QObject *parent)
    : QObject(parent) {
    connect(&m_server, &QuillmountServer::cachedChanged, &m_state, &CheckInState::recompute);
}

void PeriodicCheckIn::start() {
    m_state.recompute();
    m_timer.emplace(*Platform::current().clock, tickPeriod, [this] { tick(); });
    spawn(checkIn());
}

QCoro::Task<> PeriodicCheckIn::forget() {
    const QPointer self(this);
    co_await m_server.forget();
    if (self)
        self->publish();
}

QCoro::Task<> PeriodicCheckIn::checkIn() {
    const QPointer self(this);
    const Clock &clock = *Platform::current().clock;
    m_lastInstant = clock.now();
    m_lastUptime = clock.uptime();
    co_await m_server.registerOrCheckIn();
    if (self)
        self->publish();
}

void PeriodicCheckIn::tick() {
    const Clock &clock = *Platform::current().clock;
    const bool isDue = !m_lastInstant || clock.now() - *m_lastInstant > checkInPeriod ||
                       clock.uptime() - m_lastUptime > checkInPeriod || clock.now() < *m_lastInstant;
    if (isDue)
        spawn(checkIn());
    else
        m_state.recompute();
}

void PeriodicCheckIn::publish() {
    m_state.recompute();
    const auto status = QuillmountServer::cached();
    Q_EMIT adsReceived(status ? status->ads : QList<ServerAd>());
}

} // namespace quillmount
