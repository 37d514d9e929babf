// SPDX-License-Identifier: LicenseRef-Quillmount
#pragma once

#include "Platform/NetworkPath.h"

namespace quillmount {

// A network that comes and goes as a test says. It is there at first.
class MemoryNetworkPath final : public NetworkPath {
public:
    void start() override {
        m_started = true;
        QMetaObject::invokeMethod(
            this, [this] { Q_EMIT updated(m_satisfied); }, Qt::QueuedConnection);
    }

    // An update of the system. Before `start` it only sets the status that is reported first.
    void report(bool satisfied) {
        m_satisfied = satisfied;
        if (m_started)
            Q_EMIT updated(satisfied);
    }

private:
    bool m_satisfied = true;
    bool m_started = false;
};

} // namespace quillmount
