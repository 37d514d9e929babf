// SPDX-License-Identifier: LicenseRef-Quillmount
#pragma once

#include <QString>
#include <QStringList>

namespace quillmount {

// A question that stands in front of everything else, and a word that does not.
class Alerts {
public:
    virtual ~Alerts() = default;

    // Brings the application to the front, asks, and returns the index of the button chosen (0 is the default button
    // and what closing the alert means). Blocks.
    [[nodiscard]] virtual int ask(const QString &message, const QString &informative, const QStringList &buttons) = 0;

    // Brings the question that stands, if there is one, to the front again.
    virtual void raise() = 0;

    // Takes the question that stands, if there is one, off the screen: it is answered as if it had been closed.
    virtual void dismiss() = 0;

    // Tells the user something without waiting for an answer. Plain text. `kind` names what it is about: a later notice
    // of the same kind takes its place. One without a kind stays.
    virtual void notify(const QString &title, const QString &text, const QString &kind = {}) = 0;
};

} // namespace quillmount
