// SPDX-License-Identifier: LicenseRef-Quillmount
#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace quillmount {

// One line of the kernel's list of mounts.
struct MountRecord {
    int id = 0;
    std::string device; // "major:minor"
    std::string mountPoint;
    std::string fileSystem;
    std::string source;
    std::string options; // of the file system, comma-separated; empty where the line has none

    bool operator==(const MountRecord &) const = default;
};

// Reads the text of /proc/self/mountinfo; lines that are not understood are left out.
std::vector<MountRecord> parseMountInfo(std::string_view text);

// The mounts whose directory is exactly `path`, the lowest first.
std::vector<MountRecord> mountsAt(const std::vector<MountRecord> &records, std::string_view path);

// The kernel's list as it is now; absent when it cannot be read.
std::optional<std::vector<MountRecord>> currentMounts();
// The mounts at `path` now; none when the list cannot be read.
std::vector<MountRecord> mountsAt(std::string_view path);

// `path` with its parent resolved and its last component left alone, so that nothing at the mount point itself, which
// may be a dead mount, is touched. Empty when the parent cannot be resolved or the last component is not a name.
std::string resolveMountPoint(const std::string &path);

} // namespace quillmount
