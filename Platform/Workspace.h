// SPDX-License-Identifier: LicenseRef-Quillmount
#pragma once

#include <QStringList>
#include <QUrl>

#include <functional>

namespace quillmount {

// What the user's desktop does on the application's behalf.
class Workspace {
public:
    virtual ~Workspace() = default;

    // Opens the address with the user's own choice of program, a web address with their browser. `failed` is called
    // from the event loop, at most once, when it is known within seconds that it did not open; it is kept for as long
    // as the program runs, and owns what it uses. That it is not called does not say that a page has appeared. The
    // address is not logged: it can hold secrets.
    virtual void openURL(const QUrl &url, std::function<void()> failed) = 0;

    // Opens a folder in the user's file manager. `failed` as above.
    virtual void openFolder(const QString &path, std::function<void()> failed) = 0;

    // Shows files of one folder in the user's file manager, selected where that can be done; else opens the folder.
    // `paths` is not empty. A failure is logged.
    virtual void reveal(const QStringList &paths) = 0;

    // Moves a folder, or a file, to the user's trash. True only when it is there now; the reason of a failure is
    // logged. For what `Bundle::location` names, and nothing else: everything inside goes with it.
    virtual bool moveToTrash(const QString &path) = 0;
};

} // namespace quillmount
