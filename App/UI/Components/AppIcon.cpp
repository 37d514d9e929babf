// SPDX-License-Identifier: LicenseRef-Quillmount
#include "App/UI/Components/AppIcon.h"

#include "App/UI/Components/SymbolImage.h"

#include <QPainter>

namespace quillmount {

void AppIcon::paint(QPainter *painter) {
    const qreal side = std::min(width(), height());
    const int pixels = qRound(side * painter->worldTransform().m11());
    painter->drawImage(QRectF(0, 0, side, side), SymbolImage::application(pixels));
}

} // namespace quillmount
