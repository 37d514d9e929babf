// SPDX-License-Identifier: LicenseRef-Quillmount
#include "App/UI/Components/Cells.h"

#include <QPainter>

#include <algorithm>
#include <cmath>

namespace quillmount {

namespace {
constexpr qreal gap = 2;
constexpr qreal radius = 1.5;
} // namespace

Cells::Cells(QQuickItem *parent)
    : QQuickPaintedItem(parent) {
    setImplicitHeight(8);
    connect(this, &Cells::changed, this, [this] { update(); });
}

int Cells::coloured(double fraction, int cells) {
    return static_cast<int>(std::clamp(std::round(fraction * cells), 0.0, static_cast<double>(cells)));
}

void Cells::paint(QPainter *painter) {
    const qreal scale = painter->worldTransform().m11();
    const auto snapped = [scale](qreal position) { return std::round(position * scale) / scale; };
    const qreal pitch = (width() + gap) / m_cells;
    const int full = coloured(m_fraction, m_cells);
    painter->setRenderHint(QPainter::Antialiasing);
    painter->setPen(Qt::NoPen);
    for (int i = 0; i < m_cells; ++i) {
        const qreal left = snapped(i * pitch);
        const qreal right = snapped((i + 1) * pitch) - gap;
        painter->setBrush(i < full ? m_color : m_rail);
        painter->drawRoundedRect(QRectF(left, 0, right - left, height()), radius, radius);
    }
}

} // namespace quillmount
