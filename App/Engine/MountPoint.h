// SPDX-License-Identifier: LicenseRef-Quillmount
#pragma once

#include <QString>

#include <optional>

namespace quillmount {

// The directory that the drive is mounted on. While the drive is away it is an ordinary directory, and what is saved
// there would vanish under the next mount: so it is kept read-only, and what got in all the same is set aside.
namespace MountPoint {

// Makes an empty read-only directory of `path`, which must not be mounted. Whatever stood there and is not an empty
// directory is renamed; then the new path of it is returned. Failures are left to the mount, which reports them.
std::optional<QString> prepare(const QString &path);

} // namespace MountPoint
} // namespace quillmount
