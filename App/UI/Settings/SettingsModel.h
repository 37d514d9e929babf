// SPDX-License-Identifier: LicenseRef-Quillmount
#pragma once

#include "App/Support/Brand.h"

#include <QObject>
#include <QtQml/qqmlregistration.h>

namespace quillmount {

// What the settings window shows.
class SettingsModel : public QObject {
    Q_OBJECT
    QML_ELEMENT
    QML_UNCREATABLE("The application makes it.")
    Q_PROPERTY(QString versionText READ versionText CONSTANT FINAL)

public:
    using QObject::QObject;

    [[nodiscard]] QString versionText() const { return QStringLiteral("Version ") + Brand::version(); }

    Q_INVOKABLE void close() { Q_EMIT closeRequested(); }

Q_SIGNALS:
    void closeRequested();
};

} // namespace quillmount
