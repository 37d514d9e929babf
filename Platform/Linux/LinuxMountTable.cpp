// SPDX-License-Identifier: LicenseRef-Quillmount
#include "Platform/Linux/LinuxMountTable.h"

#include "Platform/Linux/LinuxMountWatch.h"
#include "Platform/Linux/MountInfo.h"

namespace quillmount {

bool LinuxMountTable::isMounted(const QString &path) const {
    const auto name = mountPointName(path);
    return name && isListed(*name).value_or(false);
}

bool LinuxMountTable::isForeign(const QString &path) const {
    const auto name = mountPointName(path);
    if (!name)
        return false;
    const auto fileSystem = fileSystemAt(*name);
    return fileSystem && *fileSystem != "fuse.quillmount";
}

std::unique_ptr<MountWatch> LinuxMountTable::watch(const QString &path) {
    return std::make_unique<LinuxMountWatch>(path);
}

} // namespace quillmount
