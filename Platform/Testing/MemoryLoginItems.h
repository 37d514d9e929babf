// SPDX-License-Identifier: LicenseRef-Quillmount
#pragma once

#include "Platform/LoginItems.h"
#include "Platform/PlatformError.h"

#include <optional>

namespace quillmount {

// A switch that can be made to refuse.
class MemoryLoginItems final : public LoginItems {
public:
    void setEnabled(bool on) override {
        if (m_failure)
            throw PlatformError(*m_failure);
        m_enabled = on;
    }
    [[nodiscard]] bool isEnabled() const override { return m_enabled; }
    void repair() override {}

    // Every change from now on fails with this reason; absent ends that.
    void setFailure(const std::optional<QString> &reason) { m_failure = reason; }

private:
    std::optional<QString> m_failure;
    bool m_enabled = false;
};

} // namespace quillmount
