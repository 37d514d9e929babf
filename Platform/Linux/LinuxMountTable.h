// SPDX-License-Identifier: LicenseRef-Quillmount
#pragma once

#include "Platform/MountTable.h"

#include <QByteArray>

namespace quillmount {

// The kernel's list of mounts, and a watch on it.
class LinuxMountTable final : public MountTable {
public:
    // A drive is one of this application's when it is this user's and carries `tag` (see DriveTag).
    explicit LinuxMountTable(const QByteArray &tag = {})
        : m_tag(tag) {}

    [[nodiscard]] bool isMounted(const QString &path) const override;
    [[nodiscard]] bool isForeign(const QString &path) const override;
    [[nodiscard]] std::unique_ptr<MountWatch> watch(const QString &path) override;

private:
    QByteArray m_tag;
};

} // namespace quillmount
