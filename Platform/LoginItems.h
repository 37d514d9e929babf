// SPDX-License-Identifier: LicenseRef-Quillmount
#pragma once

namespace quillmount {

// Opening the application when the user logs in.
class LoginItems {
public:
    virtual ~LoginItems() = default;

    // Throws PlatformError; nothing has changed then.
    virtual void setEnabled(bool on) = 0;
    [[nodiscard]] virtual bool isEnabled() const = 0;
};

} // namespace quillmount
