// SPDX-License-Identifier: LicenseRef-Quillmount
#include "App/Service/CheckInState.h"

#include "App/Service/QuillmountServer.h"
#include "App/Support/Preferences.h"
#include "Platform/Platform.h"

namespace quillmount {

using namespace std::chrono_literals;

namespace {

// A time in the future is that of a clock that was wrong; a day of it may be a matter of time zones.
bool isFresh(const ServerStatus &status) {
    if (!status.receivedAt)
        return false;
    const auto age = Platform::current().clock->now() - *status.receivedAt;
    return age < 7 * 24h && age >= -24h;
}

} // namespace

CheckInState::CheckInState(QObject *parent)
    : QObject(parent) {
    recompute();
}

std::optional<ServerBanner> CheckInState::visibleBanner() const {
    const QString key = Preferences::Key::dismissedBanner.toString();
    const qint64 dismissed = Platform::current().userDefaults->get<qint64>(key).value_or(0);
    return m_banner && m_banner->id != dismissed ? m_banner : std::nullopt;
}

void CheckInState::recompute() {
    const auto status = QuillmountServer::cached();
    auto banner = status && isFresh(*status) ? status->banner : std::nullopt;
    if (banner == m_banner)
        return;
    m_banner = std::move(banner);
    Q_EMIT bannerChanged();
}

void CheckInState::dismissBanner() {
    if (!m_banner)
        return;
    Platform::current().userDefaults->set(Preferences::Key::dismissedBanner.toString(), m_banner->id);
    m_banner.reset();
    Q_EMIT bannerChanged();
}

} // namespace quillmount
