// SPDX-License-Identifier: LicenseRef-Quillmount
#include "App/UI/Components/RouteTrack.h"

#include "App/UI/Components/Riders.h"

#include <QPainter>
#include <QPainterPath>

namespace quillmount {

namespace {

constexpr qreal lineWidth = 6;
constexpr qreal dash = 8;
constexpr qreal gap = 6;
constexpr qreal riderSize = 12;
constexpr qreal riderRing = 2;

} // namespace

RouteTrack::RouteTrack(QQuickItem *parent)
    : QQuickPaintedItem(parent) {
    setImplicitHeight(32);
    connect(this, &RouteTrack::changed, this, [this] { update(); });
}

void RouteTrack::paint(QPainter *painter) {
    const qreal middle = height() / 2;
    QPen pen(m_color, lineWidth, Qt::SolidLine, Qt::FlatCap, Qt::MiterJoin);
    pen.setMiterLimit(10);
    if (m_isDashed)
        pen.setDashPattern({dash / lineWidth, gap / lineWidth});
    painter->setPen(pen);
    painter->drawLine(QPointF(0, middle), QPointF(width(), middle));

    painter->setRenderHint(QPainter::Antialiasing);
    painter->setPen(Qt::NoPen);
    for (const Rider &rider : riders(m_movingCount, width(), m_seconds, m_reduceMotion)) {
        const QRectF circle(rider.x, middle - riderSize / 2, riderSize, riderSize);
        const QRectF disc = circle.adjusted(riderRing, riderRing, -riderRing, -riderRing);
        // Side by side and not one over the other, or the line would shine through a faint rider twice.
        QPainterPath ring;
        ring.addEllipse(circle);
        if (rider.opacity < 1)
            ring.addEllipse(disc);
        painter->setOpacity(rider.opacity);
        painter->fillPath(ring, m_background);
        painter->setBrush(m_riderColor);
        painter->drawEllipse(disc);
    }
}

} // namespace quillmount
