// SPDX-License-Identifier: LicenseRef-Quillmount
#pragma once

#include "App/UI/MenuPanel/DriveSnapshot.h"
#include "Platform/Clock.h"

namespace quillmount {

// Has the desktop warn before it ends the session while uploads get on. Uploads that stand still, or wait for the
// network, do not keep anybody.
class UploadInhibitor {
public:
    explicit UploadInhibitor(Clock &clock);
    ~UploadInhibitor();
    Q_DISABLE_COPY_MOVE(UploadInhibitor)

    // The drive as it is now.
    void update(const DriveSnapshot &drive);
    // Keeps nobody until uploads get on again: the application asks the user itself.
    void release();

private:
    void hold();

    Clock &m_clock;
    DriveStats m_stats; // at the last look
    bool m_isHeld = false;
    Clock::TimerId m_timer = 0;
};

} // namespace quillmount
