// SPDX-License-Identifier: LicenseRef-Quillmount
#pragma once

#include "Platform/TerminationSignals.h"

namespace quillmount {

// Signals that a test delivers.
class MemoryTerminationSignals final : public TerminationSignals {
public:
    void install() override { m_installed = true; }

    // Does nothing before `install`.
    void deliver(int signal) {
        if (m_installed)
            Q_EMIT received(signal);
    }

    [[nodiscard]] bool isInstalled() const { return m_installed; }

private:
    bool m_installed = false;
};

} // namespace quillmount
