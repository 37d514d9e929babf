// SPDX-License-Identifier: LicenseRef-Quillmount
#include "App/UI/MenuPanel/UploadInhibitor.h"

#include "Platform/Platform.h"

#include <utility>

namespace quillmount {

using namespace std::chrono_literals;
using namespace Qt::StringLiterals;

namespace {

// How long uploads may stand still before they count no more.
constexpr Clock::Duration maxStandstill = 60s;

bool getsOn(const DriveStats &former, const DriveStats &now) {
    return now.bytesPerSecond > 0 || now.pendingUploads() < former.pendingUploads() ||
           now.transfers != former.transfers;
}

} // namespace

UploadInhibitor::UploadInhibitor(Clock &clock)
    : m_clock(clock) {}

UploadInhibitor::~UploadInhibitor() {
    release();
}

void UploadInhibitor::update(const DriveSnapshot &drive) {
    const DriveStats former = std::exchange(m_stats, drive.stats);
    const bool isServed = drive.isLive() || drive.state == DriveState::ejecting;
    if (!isServed || !drive.isOnline || !drive.isBusy()) {
        release();
        return;
    }
    if (!getsOn(former, drive.stats))
        return;
    hold();
    m_clock.cancel(m_timer);
    m_timer = m_clock.schedule(maxStandstill, [this] { release(); });
}

void UploadInhibitor::hold() {
    if (!std::exchange(m_isHeld, true))
        Platform::current().sessionInhibitor->hold(u"Files are still uploading to Google Drive"_s);
}

void UploadInhibitor::release() {
    m_clock.cancel(std::exchange(m_timer, 0));
    if (std::exchange(m_isHeld, false))
        Platform::current().sessionInhibitor->release();
}

} // namespace quillmount
