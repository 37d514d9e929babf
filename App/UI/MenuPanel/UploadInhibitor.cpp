// SPDX-License-Identifier: LicenseRef-Quillmount
#include "App/UI/MenuPanel/UploadInhibitor.h"

#include "App/Support/FileCount.h"
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
    hold(drive.stats.pendingUploads());
    m_clock.cancel(m_timer);
    m_timer = m_clock.schedule(maxStandstill, [this] { release(); });
}

void UploadInhibitor::hold(qint64 pending) {
    if (std::exchange(m_held, pending) != pending)
        Platform::current().sessionInhibitor->hold(fileCount(pending) + u" still uploading"_s);
}

void UploadInhibitor::release() {
    m_clock.cancel(std::exchange(m_timer, 0));
    if (std::exchange(m_held, 0) != 0)
        Platform::current().sessionInhibitor->release();
}

} // namespace quillmount
