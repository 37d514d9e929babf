// SPDX-License-Identifier: LicenseRef-Quillmount
#pragma once

#include "Platform/MenuBarExtra.h"

#include <QMenu>
#include <QSystemTrayIcon>

#include <optional>

namespace quillmount {

// An icon in the tray of X11, as it was before status notifiers.
class LegacyTrayIcon final : public QObject {
    Q_OBJECT

public:
    // Not to be asked while there is a watcher of status notifiers: at the first question the toolkit decides for
    // good which of the two it would use itself.
    [[nodiscard]] static bool isTrayThere();

    LegacyTrayIcon();

    void setImage(const QList<QImage> &sizes);
    void setToolTip(const QString &text, const QString &detail);
    // Other items than those that an open menu has wait until it closes; their texts do not.
    void setMenu(const QList<MenuBarExtra::MenuItem> &items);
    [[nodiscard]] std::optional<QRect> geometry() const;

Q_SIGNALS:
    void activated();
    void secondaryActivated();
    void chosen(const QString &id);

private:
    [[nodiscard]] bool hasSameItems() const;
    void showItems();

    QList<MenuBarExtra::MenuItem> m_items;
    QMenu m_menu;
    QSystemTrayIcon m_icon;
};

} // namespace quillmount
