// SPDX-License-Identifier: LicenseRef-Quillmount
#pragma once

#include <QByteArray>
#include <QObject>

namespace quillmount {

// Keeps a second start for the same home from disturbing the first, and tells the first of it.
class SingleInstance : public QObject {
    Q_OBJECT

public:
    using QObject::QObject;

    enum class Outcome {
        acquired,    // this process is the one instance from now until it ends, however it ends
        heldByOther, // another process is
    };

    // Throws PlatformError when nobody can tell.
    [[nodiscard]] virtual Outcome acquire() = 0;

    // What the user wants of a start.
    enum class Wish {
        open,       // the panel
        background, // nothing is to be shown
        settings,   // the settings window
        quit,       // the application is to end
    };
    Q_ENUM(Wish)

    // After `heldByOther`: tells the one instance that the user has started the application again. Returns within two
    // seconds; false (the reason is logged) when it did not take note.
    virtual bool tellOther(Wish wish, const QByteArray &activationToken) = 0;

    // To the one instance: removes what it keeps on disk, and the folder of that when nothing else is in it. The
    // process is to end at once, since another one may be the one instance from now on.
    virtual void removeTraces() = 0;

Q_SIGNALS:
    // To the one instance: another start of this user has told it so. The token, for `Activation`, may be empty.
    void startedAgain(quillmount::SingleInstance::Wish wish, const QByteArray &activationToken);
};

} // namespace quillmount
