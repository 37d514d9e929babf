// SPDX-License-Identifier: LicenseRef-Quillmount
#include "Platform/Linux/LinuxActivation.h"

#include <QGuiApplication>
#include <QWindow>

namespace quillmount {

namespace {

constexpr auto waylandToken = "XDG_ACTIVATION_TOKEN";

QByteArray &keptToken() {
    static QByteArray token;
    return token;
}

} // namespace

void LinuxActivation::keepStartToken() {
    // On X11 the toolkit itself takes the second one out, when it has told the desktop that the start is over.
    keptToken() = qEnvironmentVariableIsEmpty(waylandToken) ? qgetenv("DESKTOP_STARTUP_ID") : qgetenv(waylandToken);
    qunsetenv(waylandToken);
}

QByteArray LinuxActivation::startToken() const {
    return keptToken();
}

void LinuxActivation::bringToFront(QWindow &window, const QByteArray &token) {
    // The way in which this toolkit takes a token on Wayland: it reads the variable inside the request.
    if (!token.isEmpty() && !placesWindows())
        qputenv(waylandToken, token);
    if (window.windowStates().testFlag(Qt::WindowMinimized))
        window.setWindowStates(window.windowStates() & ~Qt::WindowMinimized);
    window.raise();
    window.requestActivate();
    qunsetenv(waylandToken);
}

bool LinuxActivation::placesWindows() const {
    return !QGuiApplication::platformName().startsWith(QLatin1StringView("wayland"));
}

} // namespace quillmount
