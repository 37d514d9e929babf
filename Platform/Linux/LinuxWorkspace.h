// SPDX-License-Identifier: LicenseRef-Quillmount
#pragma once

#include "Platform/Workspace.h"

namespace quillmount {

// The desktop as xdg-utils know it.
class LinuxWorkspace final : public Workspace {
public:
    [[nodiscard]] bool openURL(const QUrl &url) override;
};

} // namespace quillmount
