// SPDX-License-Identifier: LicenseRef-Quillmount
#pragma once

#include "Platform/SingleInstance.h"

namespace quillmount {

// Always the one instance. A test sends `startedAgain` itself.
class MemorySingleInstance final : public SingleInstance {
public:
    [[nodiscard]] Outcome acquire() override { return Outcome::acquired; }
    bool tellOther(Wish, const QByteArray &) override { return false; }
    void removeTraces() override { m_hasTraces = false; }

    // False after `removeTraces`.
    [[nodiscard]] bool hasTraces() const { return m_hasTraces; }

private:
    bool m_hasTraces = true;
};

} // namespace quillmount
