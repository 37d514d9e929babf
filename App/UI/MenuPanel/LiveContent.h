// SPDX-License-Identifier: LicenseRef-Quillmount
#pragma once

#include "App/UI/Components/RouteDiagram.h"
#include "App/UI/MenuPanel/DriveSnapshot.h"

namespace quillmount {

// The texts and figures of the body of a live drive.
struct LiveContent {
    RouteDiagram::LineStyle line = RouteDiagram::LineStyle::live;
    int moving = 0; // files on the line
    QString headline;
    QString subline;
    // Of the storage at Google; the text is empty while Google has not told it. An account over its quota has a
    // fraction above 1.
    QString quotaText;
    double quotaFraction = 0;
    // Of the local cache, at most 1.
    QString cacheText;
    double cacheFraction = 0;
    bool offersHelp = false;

    [[nodiscard]] static LiveContent of(const DriveSnapshot &drive);

    friend bool operator==(const LiveContent &, const LiveContent &) = default;
};

} // namespace quillmount
