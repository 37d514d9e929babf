// SPDX-License-Identifier: LicenseRef-Quillmount
#include "Gallery/ContactSheet.h"

#include <QPainter>

namespace quillmount {

namespace {
constexpr int sheetWidth = 2880;
constexpr int space = 16;
constexpr int nameHeight = 18;
} // namespace

QImage contactSheet(const QList<SheetEntry> &entries, int scale) {
    QList<QRect> places;
    QRect last(0, space, 0, 0);
    int rowHeight = 0;
    for (const SheetEntry &entry : entries) {
        QSize size(0, 0);
        for (const QImage &picture : entry.pictures)
            size = QSize(size.width() + picture.width() / scale, qMax(size.height(), picture.height() / scale));
        QPoint at(last.x() + last.width() + space, last.y());
        if (at.x() + size.width() + space > sheetWidth && last.x() > 0) {
            at = QPoint(space, last.y() + rowHeight + nameHeight + space);
            rowHeight = 0;
        }
        rowHeight = qMax(rowHeight, size.height());
        last = QRect(at, size);
        places.append(last);
    }
    QImage sheet(QSize(sheetWidth, last.y() + rowHeight + nameHeight + space) * scale, QImage::Format_RGB32);
    sheet.fill(QColor::fromRgb(0x8A8F96));
    QPainter painter(&sheet);
    QFont font = painter.font();
    font.setPixelSize(11 * scale);
    painter.setFont(font);
    for (qsizetype i = 0; i < entries.size(); ++i) {
        QPoint at = places[i].topLeft() * scale;
        painter.drawText(at + QPoint(0, 12 * scale), entries[i].name);
        at.ry() += nameHeight * scale;
        for (const QImage &picture : entries[i].pictures) {
            painter.drawImage(at, picture);
            at.rx() += picture.width();
        }
    }
    return sheet;
}

} // namespace quillmount
