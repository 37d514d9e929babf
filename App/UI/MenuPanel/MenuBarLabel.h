// SPDX-License-Identifier: LicenseRef-Quillmount
#pragma once

#include "App/UI/MenuPanel/DriveSnapshot.h"
#include "App/UI/MenuPanel/PanelAction.h"

#include <QList>
#include <QString>

namespace quillmount {

// What the item in the bar shows of the drive.
struct MenuBarLabel {
    // One line of the item's menu.
    struct Entry {
        QString title;
        PanelAction action; // `none`: a line that only says something

        friend bool operator==(const Entry &, const Entry &) = default;
    };

    QString image; // the name of a symbol or of an image of the application
    double opacity = 1;
    QString statusText;  // a short phrase in lower case
    QString pendingText; // how many files wait or have failed; empty when none
    QList<Entry> menu;

    // For a screen reader, and the first line of the tooltip.
    [[nodiscard]] QString accessibleText() const { return QStringLiteral("Quillmount, ") + statusText; }

    [[nodiscard]] static MenuBarLabel of(const DriveSnapshot &drive);

    friend bool operator==(const MenuBarLabel &, const MenuBarLabel &) = default;
};

} // namespace quillmount
