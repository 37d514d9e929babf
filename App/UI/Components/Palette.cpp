// SPDX-License-Identifier: LicenseRef-Quillmount
#include "App/UI/Components/Palette.h"

#include "Platform/Platform.h"

#include <QEvent>
#include <QGuiApplication>
#include <QQmlEngine>

#include <algorithm>
#include <cmath>

namespace quillmount {

namespace {

// The relative luminance and the contrast of the accessibility guidelines for web content.
double luminance(const QColor &color) {
    const auto linear = [](double part) {
        return part <= 0.04045 ? part / 12.92 : std::pow((part + 0.055) / 1.055, 2.4);
    };
    return 0.2126 * linear(color.redF()) + 0.7152 * linear(color.greenF()) + 0.0722 * linear(color.blueF());
}

double contrast(const QColor &one, const QColor &other) {
    const auto [darker, lighter] = std::minmax({luminance(one), luminance(other)});
    return (lighter + 0.05) / (darker + 0.05);
}

constexpr double legible = 4.5;

} // namespace

Palette::Palette(const Appearance &appearance, QObject *parent)
    : QObject(parent)
    , m_appearance(appearance) {
    connect(&appearance, &Appearance::colorSchemeChanged, this, &Palette::changed);
    qGuiApp->installEventFilter(this);
}

Palette *Palette::create(QQmlEngine *engine, QJSEngine *) {
    return new Palette(*Platform::current().appearance, engine);
}

Palette &Palette::of(const QObject &object) {
    static const int type = qmlTypeId("Quillmount.Components", 1, 0, "Colors");
    return *qmlEngine(&object)->singletonInstance<Palette *>(type);
}

bool Palette::eventFilter(QObject *watched, QEvent *event) {
    if (watched == qGuiApp && event->type() == QEvent::ApplicationPaletteChange)
        Q_EMIT changed();
    return QObject::eventFilter(watched, event);
}

bool Palette::isDark() const {
    return m_appearance.colorScheme() == Appearance::ColorScheme::dark;
}

QColor Palette::dynamic(QRgb light, QRgb dark) const {
    return QColor::fromRgb(isDark() ? dark : light);
}

bool Palette::themeSuits() const {
    const QPalette theme = QGuiApplication::palette();
    const QColor window = theme.color(QPalette::Window);
    const QColor text = theme.color(QPalette::WindowText);
    return (luminance(window) < luminance(text)) == isDark() && contrast(window, route()) >= legible &&
           contrast(window, text) >= legible;
}

QColor Palette::windowBackground() const {
    return themeSuits() ? QGuiApplication::palette().color(QPalette::Window) : dynamic(0xFFFFFF, 0x1F2123);
}

QColor Palette::primary() const {
    if (themeSuits())
        return QGuiApplication::palette().color(QPalette::WindowText);
    return isDark() ? faint(Qt::white, 0.88) : faint(Qt::black, 0.85);
}

QColor Palette::secondary() const {
    const QColor text =
        themeSuits() ? QGuiApplication::palette().color(QPalette::WindowText) : dynamic(0x000000, 0xFFFFFF);
    return faint(text, isDark() ? 0.62 : 0.60);
}

QColor Palette::faint(QColor color, qreal opacity) {
    color.setAlphaF(static_cast<float>(color.alphaF() * opacity));
    return color;
}

} // namespace quillmount
