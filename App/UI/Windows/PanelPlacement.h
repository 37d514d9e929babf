// SPDX-License-Identifier: LicenseRef-Quillmount
#pragma once

#include "Platform/MenuBarExtra.h"

#include <QRect>
#include <QSize>

namespace quillmount {

// Where the panel stands. All in logical coordinates of the whole desktop.
struct PanelPlacement {
    // The side of the screen that the bar takes.
    enum class Bar { top, bottom, left, right };

    Bar bar = Bar::top;
    QPoint anchor; // on the edge of the bar, where the icon is; the corner beside the bar when nobody says where

    // On the screen of this geometry, of which the bars leave what is available.
    [[nodiscard]] static PanelPlacement of(const MenuBarExtra::Anchor &anchor, QRect screen, QRect available);

    // The panel of this size as near to the anchor as what is available lets it be. Its edge at the bar does not move
    // with its size.
    [[nodiscard]] QRect geometry(QSize size, QRect available) const;
};

} // namespace quillmount
