// SPDX-License-Identifier: LicenseRef-Quillmount
#pragma once

#include <QString>

namespace quillmount {

// What the user pastes elsewhere.
class Pasteboard {
public:
    virtual ~Pasteboard() = default;

    virtual void setText(const QString &text) = 0;
};

} // namespace quillmount
