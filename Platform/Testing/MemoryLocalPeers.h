// SPDX-License-Identifier: LicenseRef-Quillmount
#pragma once

#include "Platform/LocalPeers.h"

namespace quillmount {

// Either everybody who connects is another user, or nobody.
class MemoryLocalPeers final : public LocalPeers {
public:
    [[nodiscard]] QList<int> foreign(const QList<int> &sockets) const override {
        return m_areForeign ? sockets : QList<int>();
    }

    void setForeign(bool areForeign) { m_areForeign = areForeign; }

private:
    bool m_areForeign = false;
};

} // namespace quillmount
