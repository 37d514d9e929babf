// SPDX-License-Identifier: LicenseRef-Quillmount
#include "App/UI/Components/RouteDiagram.h"

#include "App/UI/Components/Palette.h"

namespace quillmount {

using namespace Qt::StringLiterals;

void RouteDiagram::componentComplete() {
    QQuickItem::componentComplete();
    connect(&Palette::of(*this), &Palette::changed, this, &RouteDiagram::changed);
}

bool RouteDiagram::isConnected() const {
    return m_style != LineStyle::idle && m_style != LineStyle::offline;
}

QColor RouteDiagram::lineColor() const {
    const Palette &palette = Palette::of(*this);
    switch (m_style) {
    case LineStyle::live:
        return palette.route();
    case LineStyle::fault:
        return palette.fault();
    case LineStyle::pending:
        return palette.transit();
    case LineStyle::idle:
    case LineStyle::offline:
        break;
    }
    return palette.rail();
}

QColor RouteDiagram::ringColor() const {
    return isConnected() ? lineColor() : Palette::of(*this).station();
}

QString RouteDiagram::accessibilityText(LineStyle style, int movingCount) {
    if (movingCount >= 1)
        return u"%1 files uploading to Google Drive"_s.arg(movingCount);
    switch (style) {
    case LineStyle::live:
        return u"Connected to Google Drive"_s;
    case LineStyle::idle:
        break;
    case LineStyle::offline:
        return u"Offline"_s;
    case LineStyle::fault:
        return u"Problem connecting to Google Drive"_s;
    case LineStyle::pending:
        return u"Connecting"_s;
    }
    return u"Not connected"_s;
}

} // namespace quillmount
