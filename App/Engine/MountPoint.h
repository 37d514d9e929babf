// SPDX-License-Identifier: LicenseRef-Quillmount
#pragma once

#include <QString>

#include <optional>

namespace quillmount {

// The folder that the drive is mounted on. While the drive is away it is an ordinary folder, and what is saved
// there would vanish under the next mount: so it is kept read-only, and what got in all the same is set aside. That is
// done to a folder that Quillmount made, or took empty, and to no other: a file in the state folder names it.
//
// None of these calls may be made while something is mounted on `path`.
namespace MountPoint {

struct Preparation {
    // An empty folder of ours stands at the path. Otherwise something of the user's does, or could not be moved:
    // nothing has been changed then, and nothing may be mounted on it.
    bool isUsable = false;
    std::optional<QString> setAside; // the new path of what had been saved there
};

// Whether something stands at `path` that is not Quillmount's to touch: a folder with contents that it did not make,
// a file, a link. Changes nothing.
[[nodiscard]] bool isTaken(const QString &path);

// Makes an empty read-only folder of `path`, and notes that it is ours.
[[nodiscard]] Preparation prepare(const QString &path);
// The same of a folder that another program keeps there for the user, and that cannot be moved: what is in it goes into
// a folder named after `home`, the mount point in the home folder. Another file system means copying: blocks that long.
[[nodiscard]] Preparation prepareKept(const QString &path, const QString &home);

// Gives the place of the drive back to the user: removes it when it is empty; else it and what is in it stay, writable
// again. Nothing that is mounted there, and no link, is touched.
void giveBack(const QString &path);

} // namespace MountPoint
} // namespace quillmount
