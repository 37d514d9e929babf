// SPDX-License-Identifier: LicenseRef-Quillmount
#pragma once

#include <QObject>
#include <QtQml/qqmlregistration.h>

namespace quillmount {

// The typeface of all text: the desktop's, or one with medium and semibold letters where that has none.
class Typeface : public QObject {
    Q_OBJECT
    QML_ELEMENT
    QML_SINGLETON
    Q_PROPERTY(QString family READ family CONSTANT FINAL)
    Q_PROPERTY(QString monospaced READ monospaced CONSTANT FINAL)

public:
    using QObject::QObject;

    [[nodiscard]] static QString family();
    // The desktop's own, with letters of equal widths.
    [[nodiscard]] static QString monospaced();
};

} // namespace quillmount
