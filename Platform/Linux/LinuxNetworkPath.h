// SPDX-License-Identifier: LicenseRef-Quillmount
#pragma once

#include "Platform/NetworkPath.h"

namespace quillmount {

// What GLib makes of the desktop's network service, or of the kernel's routes where there is none. On a thread of its
// own: asking the service may take its time, and not every event loop of Qt's is GLib's.
class LinuxNetworkPath final : public NetworkPath {
    Q_OBJECT

public:
    using NetworkPath::NetworkPath;
    ~LinuxNetworkPath() override;
    Q_DISABLE_COPY_MOVE(LinuxNetworkPath)

    void start() override;

private:
    bool m_isStarted = false;
};

} // namespace quillmount
