// SPDX-License-Identifier: LicenseRef-Quillmount
#pragma once

#include <QUrl>

namespace quillmount {

// What the person's desktop does on the application's behalf.
class Workspace {
public:
    virtual ~Workspace() = default;

    // Opens the address with the person's own choice of program, a web address with their browser. False when nothing
    // could be asked to; true does not say that a page has appeared. The address is not logged: it can hold secrets.
    [[nodiscard]] virtual bool openURL(const QUrl &url) = 0;
};

} // namespace quillmount
