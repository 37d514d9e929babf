// SPDX-License-Identifier: LicenseRef-Quillmount
#pragma once

#include "Platform/LocalPeers.h"

namespace quillmount {

// Looks the other end up in the kernel's table of TCP sockets, where each has its user. Root counts as no other user:
// nothing is kept from root, and relays of the system run as root.
class LinuxLocalPeers final : public LocalPeers {
public:
    [[nodiscard]] QList<int> foreign(const QList<int> &sockets) const override;
};

} // namespace quillmount
