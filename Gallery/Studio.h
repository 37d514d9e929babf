// SPDX-License-Identifier: LicenseRef-Quillmount
#pragma once

#include "Gallery/GalleryState.h"
#include "Platform/Testing/ScopedPlatform.h"

#include <QImage>

namespace quillmount {

// Takes pictures without a display. What QML says while it does so ends the program: a picture of a broken view is
// none.
class Studio {
public:
    // `scale`: pixels a point.
    [[nodiscard]] QImage picture(const GalleryState &state, Appearance::ColorScheme scheme, int scale);

private:
    ScopedPlatform m_platform;
};

} // namespace quillmount
