// SPDX-License-Identifier: LicenseRef-Quillmount
#pragma once

#include <QList>

namespace quillmount {

// One of the dots that travel along the line of a route while files upload.
struct Rider {
    qreal x; // of its left edge, in points from the left end of the track
    qreal opacity;
};

// Where the riders are, at most four of them however many files move. At `seconds` of any epoch; with reduced motion
// they stand still, evenly spaced.
[[nodiscard]] QList<Rider> riders(int movingCount, qreal trackWidth, double seconds, bool reduceMotion);

} // namespace quillmount
