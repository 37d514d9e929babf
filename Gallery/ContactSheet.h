// SPDX-License-Identifier: LicenseRef-Quillmount
#pragma once

#include <QImage>
#include <QList>
#include <QString>

namespace quillmount {

// The pictures of one state, side by side on the sheet.
struct SheetEntry {
    QString name;
    QList<QImage> pictures;
};

// All entries on one picture, with their names.
[[nodiscard]] QImage contactSheet(const QList<SheetEntry> &entries, int scale);

} // namespace quillmount
