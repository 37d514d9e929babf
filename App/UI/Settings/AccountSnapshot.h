// SPDX-License-Identifier: LicenseRef-Quillmount
#pragma once

#include "App/Engine/DriveState.h"

#include <QString>

#include <algorithm>
#include <optional>

namespace quillmount {

// What the account tab shows, at one moment.
struct AccountSnapshot {
    bool isSignedIn = false;
    QString email = {}; // empty when it is not known
    std::optional<DriveQuota> quota = {};
    qint64 pendingInEngine = 0; // by the engine's figures, which are zero where none runs
    qint64 pendingOnDisk = 0;   // by the cache, as it was counted last
    QString consequences = {};  // of an uninstallation, without the files that would be lost

    // Files that are not on Google Drive yet.
    [[nodiscard]] qint64 pending() const { return std::max(pendingInEngine, pendingOnDisk); }

    friend bool operator==(const AccountSnapshot &, const AccountSnapshot &) = default;
};

} // namespace quillmount
