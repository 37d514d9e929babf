// SPDX-License-Identifier: LicenseRef-Quillmount
#pragma once

#include "Platform/SingleInstance.h"

namespace quillmount {

// Always the one instance.
class MemorySingleInstance final : public SingleInstance {
public:
    [[nodiscard]] Outcome acquire() override { return Outcome::acquired; }
};

} // namespace quillmount
