// SPDX-License-Identifier: LicenseRef-Quillmount
#pragma once

#include <QString>

#include <optional>

namespace quillmount {

// The application as installed: its information dictionary, and the files and executables that belong to it.
class Bundle {
public:
    virtual ~Bundle() = default;

    // The value of a key of the information dictionary; absent when missing or not a string.
    [[nodiscard]] virtual std::optional<QString> infoString(const QString &key) const = 0;
    // The absolute path of a file that the application brings along; absent when there is none of that name.
    [[nodiscard]] virtual std::optional<QString> resource(const QString &fileName) const = 0;
    // The folder of the application, if it was made to be moved as a whole, and so holds nothing else. Absent where the
    // application came with a package, or was built in place.
    [[nodiscard]] virtual std::optional<QString> location() const = 0;
    // The absolute path of an executable that belongs to the application; absent when there is none of that name.
    [[nodiscard]] virtual std::optional<QString> auxiliaryExecutable(const QString &name) const = 0;
};

} // namespace quillmount
