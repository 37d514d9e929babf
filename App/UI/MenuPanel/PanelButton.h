// SPDX-License-Identifier: LicenseRef-Quillmount
#pragma once

#include "App/UI/MenuPanel/PanelAction.h"

#include <QString>

namespace quillmount {

// One button of the panel's body.
struct PanelButton {
    QString title;
    PanelAction action = PanelAction::none;
    bool isPrimary = false; // at most one, the first

    friend bool operator==(const PanelButton &, const PanelButton &) = default;
};

} // namespace quillmount
