// SPDX-License-Identifier: LicenseRef-Quillmount
#pragma once

#include "App/Engine/DriveState.h"

#include <algorithm>
#include <limits>
#include <optional>

namespace quillmount {

// All that the panel and the menu-bar item show, at one moment. What they show is a pure function of it.
struct DriveSnapshot {
    DriveState state = DriveState::stopped;
    DriveStats stats;
    bool isOnline = true;
    std::optional<DriveQuota> quota;
    QString email;          // of the account; empty when it is not known
    qint64 cacheLimit = 0;  // bytes
    QString supportAddress; // e-mail

    [[nodiscard]] bool isLive() const { return state == DriveState::live; }
    [[nodiscard]] bool isBusy() const { return stats.pendingUploads() > 0; }
    // Files on the way, as many as a view can count.
    [[nodiscard]] int moving() const {
        return static_cast<int>(std::clamp<qint64>(stats.pendingUploads(), 0, std::numeric_limits<int>::max()));
    }
    [[nodiscard]] bool hasErrors() const { return stats.erroredFiles > 0; }

    friend bool operator==(const DriveSnapshot &, const DriveSnapshot &) = default;
};

} // namespace quillmount
