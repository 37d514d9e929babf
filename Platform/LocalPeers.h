// SPDX-License-Identifier: LicenseRef-Quillmount
#pragma once

#include <QList>

namespace quillmount {

// Who is at the other end of a connection over the loopback interface, which every user of the machine can make.
class LocalPeers {
public:
    virtual ~LocalPeers() = default;

    // Those of these connected sockets (descriptors) whose other end is known to be another user's. One that cannot be
    // told is not among them.
    [[nodiscard]] virtual QList<int> foreign(const QList<int> &sockets) const = 0;
};

} // namespace quillmount
