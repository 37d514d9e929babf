// SPDX-License-Identifier: LicenseRef-Quillmount
#pragma once

#include "Tests/EndToEnd/TestHome.h"

#include <QFile>

namespace quillmount {

class Application;

// A home whose application asks the local Google for an account. That is what its information dictionary says, so the
// application is started from a bundle of its own.
class SignInHome : public TestHome {
public:
    SignInHome();

    // What a shell does instead of opening the address "$1" in a browser; "$HOME" is this home.
    void setBrowser(const QByteArray &script) const;
    // Has the application started with that bundle and browser. The way to Google is given to the engine alone.
    void prepare(Application &application) const;

    // A file of the home, such as one that the browser wrote; empty while there is none.
    [[nodiscard]] QByteArray read(const QString &name) const {
        QFile file(path() + u'/' + name);
        return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
    }
};

} // namespace quillmount
