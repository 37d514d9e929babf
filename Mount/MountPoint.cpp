// SPDX-License-Identifier: LicenseRef-Quillmount
#include "Mount/MountPoint.h"

#include "MountList/MountList.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

namespace quillmount::mount {
namespace {

constexpr mode_t closedMode = 0500;
constexpr mode_t openMode = 0700;

} // namespace

void MountPoint::giveBack() {
    if (m_folder < 0)
        return;
    fchmod(m_folder, m_mode);
    close(m_folder);
    m_folder = -1;
}

std::string MountPoint::prepare(const std::string &path) {
    m_path = resolveMountPoint(path);
    if (m_path.empty())
        return "there is no folder " + path;
    if (!mountsAt(m_path).empty())
        return "something is mounted at " + m_path + " already";
    m_folder = open(m_path.c_str(), O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC);
    if (m_folder < 0)
        return "cannot open the folder " + m_path + ": " + std::strerror(errno);
    struct stat status {};
    if (fstat(m_folder, &status) != 0)
        return "cannot look at the folder " + m_path + ": " + std::strerror(errno);
    m_mode = status.st_mode & 07777U;
    // The lock ends with this descriptor. Two that start at the same moment would stack their mounts.
    if (flock(m_folder, LOCK_EX | LOCK_NB) != 0)
        return "another mount at " + m_path + " is under way";
    if (!mountsAt(m_path).empty())
        return "something is mounted at " + m_path + " already";
    if ((m_mode & openMode) != openMode && fchmod(m_folder, openMode) != 0)
        return "cannot make the folder " + m_path + " writable: " + std::strerror(errno);
    return {};
}

void MountPoint::noteMount() {
    const auto found = mountsAt(m_path);
    if (!found.empty())
        m_device = found.back().device;
}

std::string MountPoint::confirm(const std::string &source) {
    const auto found = mountsAt(m_path);
    if (found.size() != 1 || found.front().fileSystem != fileSystem || found.front().source != source ||
        found.front().device != m_device)
        return "the kernel does not show the mount at " + m_path;
    m_mode = closedMode;
    giveBack();
    return {};
}

bool isMountedHere(const std::string &path, const std::string &device) {
    const auto found = mountsAt(path);
    return !found.empty() && found.back().device == device;
}

} // namespace quillmount::mount
