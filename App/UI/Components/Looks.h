// SPDX-License-Identifier: LicenseRef-Quillmount
#pragma once

#include <QObject>
#include <QtQml/qqmlregistration.h>

namespace quillmount {

// How components answer to what happens to them, and what a screen reader says for them.
class Looks : public QObject {
    Q_OBJECT
    QML_ELEMENT
    QML_SINGLETON

public:
    using QObject::QObject;

    // The opacity of a button's background. A button that is disabled together with what is around it looks as before.
    Q_INVOKABLE static qreal primaryButton(bool isEnabled, bool isParentEnabled, bool isPressed);
    Q_INVOKABLE static qreal secondaryButton(bool isPressed);
    Q_INVOKABLE static qreal quietButton(bool isHovered, bool isPressed);
    // The opacity of a control in a form.
    Q_INVOKABLE static qreal control(bool isEnabled);
    // The size of a pressed button, 1 being the usual.
    Q_INVOKABLE static qreal pressScale(bool isPressed, bool reduceMotion);
    // The opacity of the dot of a pulsing pill, so many seconds after the pill appeared: down and up again, for ever.
    Q_INVOKABLE static qreal pulse(double seconds);

    Q_INVOKABLE static QString spokenStatus(const QString &label);
    // `fraction` has to be finite.
    Q_INVOKABLE static QString spokenPercent(double fraction);
};

} // namespace quillmount
