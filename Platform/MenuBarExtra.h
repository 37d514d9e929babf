// SPDX-License-Identifier: LicenseRef-Quillmount
#pragma once

#include <QByteArray>
#include <QImage>
#include <QList>
#include <QObject>
#include <QPoint>
#include <QRect>
#include <QString>

#include <optional>

namespace quillmount {

// The application's item among those that stand in the desktop's bar: a picture, a text and a menu. Giving it what it
// has already costs nothing.
class MenuBarExtra : public QObject {
    Q_OBJECT

public:
    // Where the user activated the item, in logical coordinates of the whole desktop. Often neither is known: of a key
    // press, and on systems that tell no application where it is.
    struct Anchor {
        std::optional<QRect> icon;
        std::optional<QPoint> pointer; // it was on the icon
        QByteArray activationToken;    // for `Activation`; empty when the bar gave none

        friend bool operator==(const Anchor &, const Anchor &) = default;
    };

    struct MenuItem {
        QString id; // unique among those that are no separator
        QString text;
        bool isEnabled = true;
        bool isSeparator = false;

        friend bool operator==(const MenuItem &, const MenuItem &) = default;
    };

    using QObject::QObject;

    // Whether there is a bar that shows the item. Known only some time after the start, so false at first.
    [[nodiscard]] virtual bool isAvailable() const = 0;

    // One picture in square sizes, in pixels; the bar takes the one that fits. The item appears with its first image.
    virtual void setImage(const QList<QImage> &sizes) = 0;
    // What the item says: its text for screen readers and first line of the tooltip, and a second line that may be
    // empty. Plain text.
    virtual void setToolTip(const QString &text, const QString &detail) = 0;
    // The menu, from top to bottom. On some desktops it is all that a click opens.
    virtual void setMenu(const QList<MenuItem> &items) = 0;
    // Takes the item away for good and tells the bar before it returns.
    virtual void hide() = 0;

Q_SIGNALS:
    // A click on the item, or the key that stands for it.
    void activated(const MenuBarExtra::Anchor &anchor);
    // A click with the middle button.
    void secondaryActivated();
    // An enabled item of the menu was chosen. Sent from the event loop, so that a question may be asked at once.
    void menuItemChosen(const QString &id);
    void availableChanged();
};

} // namespace quillmount
