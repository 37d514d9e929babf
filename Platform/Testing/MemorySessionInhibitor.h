// SPDX-License-Identifier: LicenseRef-Quillmount
#pragma once

#include "Platform/SessionInhibitor.h"

#include <optional>

namespace quillmount {

class MemorySessionInhibitor final : public SessionInhibitor {
public:
    void hold(const QString &reason) override { m_reason = reason; }
    void release() override { m_reason.reset(); }

    // Why the session is held; absent when it is not.
    [[nodiscard]] const std::optional<QString> &reason() const { return m_reason; }

private:
    std::optional<QString> m_reason;
};

} // namespace quillmount
