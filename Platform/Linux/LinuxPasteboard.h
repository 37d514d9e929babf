// SPDX-License-Identifier: LicenseRef-Quillmount
#pragma once

#include "Platform/Pasteboard.h"

namespace quillmount {

// The desktop's clipboard. It holds the text for as long as the application runs.
class LinuxPasteboard final : public Pasteboard {
public:
    void setText(const QString &text) override;
};

} // namespace quillmount
