// SPDX-License-Identifier: LicenseRef-Quillmount
#pragma once

#include <QByteArray>

class QWindow;

namespace quillmount {

// Which of the windows on the desktop is in front. Where the system asks for it, a token proves that the user wanted
// the change: it comes with the start of the program or with a click on its menu-bar item.
class Activation {
public:
    virtual ~Activation() = default;

    // The token that this process was started with; empty when there was none.
    [[nodiscard]] virtual QByteArray startToken() const = 0;

    // Puts a window that is shown in front of all others and gives it the keyboard, as far as the system lets the
    // application. `token` may be empty.
    virtual void bringToFront(QWindow &window, const QByteArray &token) = 0;

    // Whether the application decides where its windows stand. Where it does not, the system does.
    [[nodiscard]] virtual bool placesWindows() const = 0;
};

} // namespace quillmount
