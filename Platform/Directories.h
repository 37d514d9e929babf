// SPDX-License-Identifier: LicenseRef-Quillmount
#pragma once

#include <QString>

namespace quillmount {

// The per-user base directories. Nothing is created. Every path is absolute and without a trailing slash.
class Directories {
public:
    virtual ~Directories() = default;

    // What the application keeps for good: accounts, set-up.
    [[nodiscard]] virtual QString applicationSupport() const = 0;
    // The local cache of the drive.
    [[nodiscard]] virtual QString caches() const = 0;
    // The parent of "Logs".
    [[nodiscard]] virtual QString library() const = 0;
    [[nodiscard]] virtual QString home() const = 0;
    [[nodiscard]] virtual QString temporary() const = 0;
};

} // namespace quillmount
