// SPDX-License-Identifier: LicenseRef-Quillmount
#include "Platform/Linux/LegacyTrayIcon.h"

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
    m_menu.clear();
    for (const MenuBarExtra::MenuItem &item : items) {
        if (item.isSeparator) {
            m_menu.addSeparator();
            continue;
        }
        QString text = item.text;
        text.replace(u'&', "&&"_L1);
        QAction *action = m_menu.addAction(text, this, [this, id = item.id] { Q_EMIT chosen(id); });
        action->setEnabled(item.isEnabled);
    }
}

std::optional<QRect> LegacyTrayIcon::geometry() const {
    const QRect geometry = m_icon.geometry();
    return geometry.isValid() ? std::optional(geometry) : std::nullopt;
}

} // namespace quillmount
