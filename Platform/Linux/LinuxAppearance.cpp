// SPDX-License-Identifier: LicenseRef-Quillmount
#include "Platform/Linux/LinuxAppearance.h"

#include <QEvent>
#include <QGuiApplication>
#include <QPalette>

namespace quillmount {

LinuxAppearance::LinuxAppearance()
    : m_colorScheme(schemeOfTheme()) {
    qGuiApp->installEventFilter(this);
}

bool LinuxAppearance::eventFilter(QObject *watched, QEvent *event) {
    if (watched == qGuiApp && event->type() == QEvent::ApplicationPaletteChange) {
        const ColorScheme scheme = schemeOfTheme();
        if (std::exchange(m_colorScheme, scheme) != scheme)
            Q_EMIT colorSchemeChanged();
    }
    return Appearance::eventFilter(watched, event);
}

Appearance::ColorScheme LinuxAppearance::schemeOfTheme() {
    const QPalette palette = QGuiApplication::palette();
    const bool isDark = palette.color(QPalette::Window).lightnessF() < palette.color(QPalette::WindowText).lightnessF();
    return isDark ? ColorScheme::dark : ColorScheme::light;
}

} // namespace quillmount
