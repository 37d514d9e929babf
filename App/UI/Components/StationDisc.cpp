// SPDX-License-Identifier: LicenseRef-Quillmount
#include "App/UI/Components/StationDisc.h"

#include <QPainter>

namespace quillmount {

StationDisc::StationDisc(QQuickItem *parent)
    : QQuickPaintedItem(parent) {
    setAntialiasing(true);
    connect(this, &StationDisc::changed, this, [this] { update(); });
}

void StationDisc::paint(QPainter *painter) {
    const qreal size = std::min(width(), height());
    const qreal ringWidth = std::max(size * 0.12, 3.0);
    const qreal half = ringWidth / 2;
    QPen pen(m_ring, ringWidth, Qt::SolidLine, Qt::FlatCap);
    if (!m_isFilled)
        pen.setDashPattern({3 / ringWidth, 3 / ringWidth});
    painter->setRenderHint(QPainter::Antialiasing);
    painter->setPen(pen);
    painter->setBrush(m_isFilled ? QBrush(m_fill) : QBrush(Qt::NoBrush));
    painter->drawEllipse(QRectF(half, half, size - ringWidth, size - ringWidth));
}

} // namespace quillmount
