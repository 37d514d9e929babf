// SPDX-License-Identifier: LicenseRef-Quillmount
#pragma once

#include <QQuickPaintedItem>

namespace quillmount {

// The application's icon, in its own colours.
class AppIcon : public QQuickPaintedItem {
    Q_OBJECT
    QML_ELEMENT

public:
    using QQuickPaintedItem::QQuickPaintedItem;

    void paint(QPainter *painter) override;
};

} // namespace quillmount
