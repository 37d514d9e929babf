// SPDX-License-Identifier: LicenseRef-Quillmount
#include "Platform/Linux/LegacyTrayIcon.h"

#include <algorithm>

namespace quillmount {

using namespace Qt::StringLiterals;

bool LegacyTrayIcon::isTrayThere() {
    return QSystemTrayIcon::isSystemTrayAvailable();
}

LegacyTrayIcon::LegacyTrayIcon() {
    connect(&m_icon, &QSystemTrayIcon::activated, this, [this](QSystemTrayIcon::ActivationReason reason) {
        if (reason == QSystemTrayIcon::Trigger || reason == QSystemTrayIcon::DoubleClick)
            Q_EMIT activated();
        else if (reason == QSystemTrayIcon::MiddleClick)
            Q_EMIT secondaryActivated();
    });
    // Queued: the item that was chosen is told after the menu has closed.
    connect(&m_menu, &QMenu::aboutToHide, this, &LegacyTrayIcon::showItems, Qt::QueuedConnection);
    m_icon.setContextMenu(&m_menu);
}

void LegacyTrayIcon::setImage(const QList<QImage> &sizes) {
    QIcon icon;
    for (const QImage &size : sizes)
        icon.addPixmap(QPixmap::fromImage(size));
    m_icon.setIcon(icon);
    m_icon.setVisible(!sizes.isEmpty());
}

void LegacyTrayIcon::setToolTip(const QString &text, const QString &detail) {
    m_icon.setToolTip(detail.isEmpty() ? text : text + u'\n' + detail);
}

void LegacyTrayIcon::setMenu(const QList<MenuBarExtra::MenuItem> &items) {
    m_items = items;
    if (!m_menu.isVisible() || hasSameItems())
        showItems();
}

bool LegacyTrayIcon::hasSameItems() const {
    return std::ranges::equal(m_menu.actions(), m_items, [](const QAction *action, const auto &item) {
        return action->isSeparator() == item.isSeparator && action->data() == item.id;
    });
}

void LegacyTrayIcon::showItems() {
    if (!hasSameItems()) {
        m_menu.clear();
        for (const MenuBarExtra::MenuItem &item : m_items) {
            QAction *action = m_menu.addAction(QString(), this, [this, id = item.id] { Q_EMIT chosen(id); });
            action->setSeparator(item.isSeparator);
            action->setData(item.id);
        }
    }
    const QList<QAction *> actions = m_menu.actions();
    for (qsizetype i = 0; i < actions.size(); ++i) {
        QString text = m_items[i].text;
        actions[i]->setText(text.replace(u'&', "&&"_L1));
        actions[i]->setEnabled(m_items[i].isEnabled);
    }
}

std::optional<QRect> LegacyTrayIcon::geometry() const {
    const QRect geometry = m_icon.geometry();
    return geometry.isValid() ? std::optional(geometry) : std::nullopt;
}

} // namespace quillmount
