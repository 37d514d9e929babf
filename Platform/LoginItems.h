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
    // Names this program in an item that is switched on but whose program is no longer where it was, as after an
    // update. Any other item stays as it is. Throws as above.
    virtual void repair() = 0;
};

} // namespace quillmount
