// SPDX-License-Identifier: LicenseRef-Quillmount
#pragma once

#include <QString>

#include <optional>

namespace quillmount {

// Opening the application when the person logs in.
class LoginItems {
public:
    virtual ~LoginItems() = default;

    // Absent on success, else the reason in words.
    virtual std::optional<QString> setEnabled(bool on) = 0;
    [[nodiscard]] virtual bool isEnabled() const = 0;
};

} // namespace quillmount
