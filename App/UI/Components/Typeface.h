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

public:
    using QObject::QObject;

    [[nodiscard]] static QString family();
};

} // namespace quillmount
