// SPDX-License-Identifier: LicenseRef-Quillmount
#pragma once

#include "App/UI/MenuPanel/DriveSnapshot.h"

#include <QString>

namespace quillmount {

// The pill on the band: the drive's state in a word or two.
struct StatusPillContent {
    QString label;
    QString color; // of its dot, by its name in the palette
    bool isPulsing = false;

    [[nodiscard]] static StatusPillContent of(const DriveSnapshot &drive);

    friend bool operator==(const StatusPillContent &, const StatusPillContent &) = default;
};

} // namespace quillmount
