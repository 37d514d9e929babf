// SPDX-License-Identifier: LicenseRef-Quillmount
#pragma once

#include "App/UI/Components/RouteDiagram.h"
#include "App/UI/MenuPanel/DriveSnapshot.h"
#include "App/UI/MenuPanel/PanelButton.h"

#include <QList>

namespace quillmount {

// The texts and buttons of every body but the live one.
struct StatusContent {
    RouteDiagram::LineStyle line = RouteDiagram::LineStyle::idle;
    int moving = 0; // files on the line
    QString destination = QStringLiteral("Drive");
    QString title;
    QString detail;
    bool isWorking = false; // with a spinner
    QList<PanelButton> buttons;

    // Of any state but `live`.
    [[nodiscard]] static StatusContent of(const DriveSnapshot &drive);

    friend bool operator==(const StatusContent &, const StatusContent &) = default;
};

} // namespace quillmount
