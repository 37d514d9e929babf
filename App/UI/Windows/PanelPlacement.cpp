// SPDX-License-Identifier: LicenseRef-Quillmount
#include "App/UI/Windows/PanelPlacement.h"

#include <algorithm>
#include <array>

namespace quillmount {

namespace {

using Bar = PanelPlacement::Bar;

// The side that the bars take most of.
Bar widestBar(QRect screen, QRect available) {
    const std::array widths{
        std::pair{available.top() - screen.top(), Bar::top},
        std::pair{screen.bottom() - available.bottom(), Bar::bottom},
        std::pair{available.left() - screen.left(), Bar::left},
        std::pair{screen.right() - available.right(), Bar::right},
    };
    return std::max_element(widths.begin(), widths.end(),
                            [](const auto &one, const auto &other) { return one.first < other.first; })
        ->second;
}

// The side whose bar the point is on.
Bar barAt(QPoint point, QRect screen, QRect available) {
    if (point.y() < available.top())
        return Bar::top;
    if (point.y() > available.bottom())
        return Bar::bottom;
    if (point.x() < available.left())
        return Bar::left;
    if (point.x() > available.right())
        return Bar::right;
    return widestBar(screen, available);
}

} // namespace

PanelPlacement PanelPlacement::of(const MenuBarExtra::Anchor &anchor, QRect screen, QRect available) {
    if (anchor.icon && screen.intersects(*anchor.icon))
        return {barAt(anchor.icon->center(), screen, available), anchor.icon->center()};
    // A pointer inside the available area is not on a bar: a key was pressed, or the system does not tell the truth.
    if (anchor.pointer && screen.contains(*anchor.pointer) && !available.contains(*anchor.pointer))
        return {barAt(*anchor.pointer, screen, available), *anchor.pointer};
    const Bar bar = widestBar(screen, available);
    return {bar, bar == Bar::bottom || bar == Bar::right ? available.bottomRight()
                 : bar == Bar::top                       ? available.topRight()
                                                         : available.topLeft()};
}

QRect PanelPlacement::geometry(QSize size, QRect available) const {
    size = size.boundedTo(available.size());
    QPoint corner;
    switch (bar) {
    case Bar::top:
        corner = {anchor.x() - size.width() / 2, available.top()};
        break;
    case Bar::bottom:
        corner = {anchor.x() - size.width() / 2, available.bottom() + 1 - size.height()};
        break;
    case Bar::left:
        corner = {available.left(), anchor.y()};
        break;
    case Bar::right:
        corner = {available.right() + 1 - size.width(), anchor.y()};
        break;
    }
    return {QPoint(std::clamp(corner.x(), available.left(), available.right() + 1 - size.width()),
                   std::clamp(corner.y(), available.top(), available.bottom() + 1 - size.height())),
            size};
}

} // namespace quillmount
