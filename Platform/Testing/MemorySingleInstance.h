// SPDX-License-Identifier: LicenseRef-Quillmount
#pragma once

#include "Platform/SingleInstance.h"

namespace quillmount {

// The one instance, unless a test says that another runs.
class MemorySingleInstance final : public SingleInstance {
public:
    [[nodiscard]] bool acquire() override { return !m_otherRuns; }

    void setOtherRuns(bool runs) { m_otherRuns = runs; }

private:
    bool m_otherRuns = false;
};

} // namespace quillmount
