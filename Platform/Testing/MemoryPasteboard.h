// SPDX-License-Identifier: LicenseRef-Quillmount
#pragma once

#include "Platform/Pasteboard.h"

namespace quillmount {

class MemoryPasteboard final : public Pasteboard {
public:
    void setText(const QString &text) override { m_text = text; }
    [[nodiscard]] const QString &text() const { return m_text; }

private:
    QString m_text;
};

} // namespace quillmount
