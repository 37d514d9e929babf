// SPDX-License-Identifier: LicenseRef-Quillmount
#pragma once

#include <QDBusConnection>
#include <QDBusObjectPath>
#include <QList>
#include <QRect>
#include <QString>

#include <sys/types.h>

namespace quillmount {

class Desktop;

// What a screen reader on a desktop finds in the visible windows of a program, and how it uses them. Programs that are
// started after it was made are found.
class ScreenReader {
public:
    struct Item {
        QString service;
        QDBusObjectPath path;
        QString name;
        bool isButton = false; // or a link
        bool isFocused = false;
        bool isWindow = false;
    };

    // Starts the accessibility bus of the desktop.
    explicit ScreenReader(const Desktop &desktop);
    ~ScreenReader();
    Q_DISABLE_COPY_MOVE(ScreenReader)

    // All that is visible and has a name, and the windows, in the order in which they are read.
    [[nodiscard]] QList<Item> read(pid_t program) const;
    // Presses a button; false when it cannot be pressed.
    [[nodiscard]] bool press(const Item &button) const;
    // Where on the screen a window is.
    [[nodiscard]] QRect geometry(const Item &window) const;

private:
    void read(const QString &service, const QDBusObjectPath &path, bool isWindow, QList<Item> &items) const;

    QDBusConnection m_bus;
};

} // namespace quillmount
