// SPDX-License-Identifier: LicenseRef-Quillmount
#pragma once

#include <sys/types.h>

#include <string>

namespace quillmount::mount {

// The folder that is mounted over. While nothing is mounted it is kept read-only, so that nobody saves into the bare
// folder; the system's mount helper wants it writable for a moment.
class MountPoint {
public:
    MountPoint() = default;
    ~MountPoint() { giveBack(); }
    MountPoint(const MountPoint &) = delete;
    MountPoint &operator=(const MountPoint &) = delete;

    // Finds the folder, makes sure that nothing is mounted there and nobody else is mounting, and opens it up.
    // Gives an error message or an empty text.
    std::string prepare(const std::string &path);
    // The path with its parent resolved, as the kernel lists it.
    const std::string &path() const { return m_path; }

    // Finds the mount that has just been made in the kernel's list: from now on `device()` tells it from any other.
    void noteMount();
    // Makes sure that the kernel shows our mount and only ours, and closes the folder beneath it. Gives an error
    // message or an empty text.
    std::string confirm(const std::string &source);
    // Puts the folder's mode back, unless the mount was confirmed.
    void giveBack();
    // The device of our mount, as the kernel's list writes it.
    const std::string &device() const { return m_device; }

    static constexpr const char *fileSystem = "fuse.quillmount";

private:
    std::string m_path;
    std::string m_device;
    int m_folder = -1;
    mode_t m_mode = 0;
};

// True when the top mount at `path` is that of `device`. Looks at the kernel's list only.
bool isMountedHere(const std::string &path, const std::string &device);

} // namespace quillmount::mount
