// SPDX-License-Identifier: LicenseRef-Quillmount
#include "App/UI/Components/Riders.h"

#include <algorithm>
#include <cmath>

namespace quillmount {

namespace {
constexpr int maxRiders = 4;
constexpr double secondsPerTrip = 2.4;
constexpr qreal margin = 10; // at either end of the track
constexpr qreal radius = 6;
} // namespace

QList<Rider> riders(int movingCount, qreal trackWidth, double seconds, bool reduceMotion) {
    const int count = std::clamp(movingCount, 0, maxRiders);
    const qreal width = std::max(trackWidth - 2 * margin, 0.0);
    QList<Rider> all;
    for (int i = 0; i < count; ++i) {
        double position = (i + 1.0) / (count + 1);
        double opacity = 1;
        if (!reduceMotion) {
            const double phase = seconds / secondsPerTrip + static_cast<double>(i) / count;
            position = phase - std::floor(phase);
            opacity = std::min(8 * std::min(position, 1 - position), 1.0);
        }
        all.append({margin + width * position - radius, opacity});
    }
    return all;
}

} // namespace quillmount
