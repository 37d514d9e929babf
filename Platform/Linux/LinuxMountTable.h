// SPDX-License-Identifier: LicenseRef-Quillmount
#pragma once

#include "Platform/MountTable.h"

namespace quillmount {

// The kernel's list of mounts, and a watch on it.
class LinuxMountTable final : public MountTable {
public:
    [[nodiscard]] bool isMounted(const QString &path) const override;
    [[nodiscard]] bool isForeign(const QString &path) const override;
    [[nodiscard]] std::unique_ptr<MountWatch> watch(const QString &path) override;
};

} // namespace quillmount
