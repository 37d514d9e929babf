// SPDX-License-Identifier: LicenseRef-Quillmount
#pragma once

#include "Platform/SingleInstance.h"

namespace quillmount {

// Always the one instance. A test sends `startedAgain` itself.
class MemorySingleInstance final : public SingleInstance {
public:
    [[nodiscard]] Outcome acquire() override { return Outcome::acquired; }
    bool tellOther(Wish, const QByteArray &) override { return false; }
};

} // namespace quillmount
