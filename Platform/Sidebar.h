// SPDX-License-Identifier: LicenseRef-Quillmount
#pragma once

#include <QString>

namespace quillmount {

// The user's own list of places in the file manager.
class Sidebar {
public:
    virtual ~Sidebar() = default;

    // Adds the folder under this name, at the end and once. An entry for it that is there already stays as it is.
    // Throws PlatformError.
    virtual void add(const QString &path, const QString &name) = 0;
    // Removes every entry for the folder, and changes nothing else. Throws PlatformError.
    virtual void remove(const QString &path) = 0;
};

} // namespace quillmount
