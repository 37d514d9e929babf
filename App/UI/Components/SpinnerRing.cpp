// SPDX-License-Identifier: LicenseRef-Quillmount
#include "App/UI/Components/SpinnerRing.h"

#include <QPainter>

#include <cmath>

namespace quillmount {

namespace {
constexpr qreal lineWidth = 2;
constexpr double secondsPerTurn = 0.9;
constexpr double arc = 100; // degrees
} // namespace

SpinnerRing::SpinnerRing(QQuickItem *parent)
    : QQuickPaintedItem(parent) {
    setImplicitSize(16, 16);
    connect(this, &SpinnerRing::changed, this, [this] { update(); });
}

void SpinnerRing::paint(QPainter *painter) {
    const qreal inset = 1 + lineWidth / 2;
    const QRectF circle(inset, inset, width() - 2 * inset, height() - 2 * inset);
    painter->setRenderHint(QPainter::Antialiasing);
    painter->setPen(QPen(m_isStill ? m_color : m_rail, lineWidth));
    painter->drawEllipse(circle);
    if (m_isStill)
        return;
    constexpr int unitsPerDegree = 16;
    const double angle = 90 - 360 * std::fmod(m_seconds / secondsPerTurn, 1.0);
    painter->setPen(QPen(m_color, lineWidth, Qt::SolidLine, Qt::RoundCap));
    painter->drawArc(circle, qRound(angle * unitsPerDegree), qRound(-arc * unitsPerDegree));
}

} // namespace quillmount
