// SPDX-License-Identifier: LicenseRef-Quillmount
#pragma once

#include "App/UI/MenuPanel/PanelAction.h"

#include <QString>
#include <QtQml/qqmlregistration.h>

namespace quillmount {

// One button of the panel's body: for QML its looks alone.
class PanelButton {
    Q_GADGET
    QML_VALUE_TYPE(panelButton)
    Q_PROPERTY(QString title MEMBER title CONSTANT)
    Q_PROPERTY(bool isPrimary MEMBER isPrimary CONSTANT)

public:
    QString title;
    PanelAction action = PanelAction::none;
    bool isPrimary = false;

    friend bool operator==(const PanelButton &, const PanelButton &) = default;
};

} // namespace quillmount
