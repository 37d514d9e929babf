// SPDX-License-Identifier: LicenseRef-Quillmount
#include "Platform/Linux/LinuxMountTable.h"

#include "Platform/Linux/LinuxMountWatch.h"
#include "Platform/Linux/MountInfo.h"

#include <unistd.h>

namespace quillmount {

namespace {

bool isOurs(const MountRecord &record, const QByteArray &tag) {
    const std::string user = ",user_id=" + std::to_string(::getuid()) + ',';
    return record.fileSystem == "fuse.quillmount" && record.source.ends_with(":/" + tag.toStdString()) &&
           (',' + record.options + ',').find(user) != std::string::npos;
}

} // namespace

bool LinuxMountTable::isMounted(const QString &path) const {
    const auto name = mountPointName(path);
    return name && isListed(*name).value_or(false);
}

bool LinuxMountTable::isForeign(const QString &path) const {
    const auto name = mountPointName(path);
    if (!name)
        return false;
    const auto record = uppermostAt(*name);
    return record && !isOurs(*record, m_tag);
}

std::unique_ptr<MountWatch> LinuxMountTable::watch(const QString &path) {
    return std::make_unique<LinuxMountWatch>(path);
}

} // namespace quillmount
