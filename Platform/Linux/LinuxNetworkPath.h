// SPDX-License-Identifier: LicenseRef-Quillmount
#pragma once

#include "Platform/NetworkPath.h"

namespace quillmount {

// What the desktop's network service says. Without one the path counts as there: trying is then the only way to know.
class LinuxNetworkPath final : public NetworkPath {
    Q_OBJECT

public:
    using NetworkPath::NetworkPath;

    void start() override;
};

} // namespace quillmount
