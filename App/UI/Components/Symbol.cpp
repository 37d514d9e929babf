// SPDX-License-Identifier: LicenseRef-Quillmount
#include "App/UI/Components/Symbol.h"

#include "App/UI/Components/SymbolImage.h"

#include <QPainter>

#include <cmath>

namespace quillmount {

Symbol::Symbol(QQuickItem *parent)
    : QQuickPaintedItem(parent) {
    connect(this, &Symbol::changed, this, [this] {
        const qreal square = 2 * std::round(m_pixelSize * 1.25 / 2);
        setImplicitSize(square, square);
        update();
    });
}

void Symbol::paint(QPainter *painter) {
    if (m_name.isEmpty())
        return;
    const qreal side = std::min(width(), height());
    const int pixels = qRound(side * painter->worldTransform().m11());
    painter->drawImage(QRectF(0, 0, side, side), SymbolImage::tinted(m_name, pixels, m_color));
}

} // namespace quillmount
