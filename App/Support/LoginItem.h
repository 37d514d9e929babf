// SPDX-License-Identifier: LicenseRef-Quillmount
#pragma once

namespace quillmount {

namespace LoginItem {

// Opens the application at login, or no longer. A failure is logged and changes nothing.
void set(bool on);

// What the system says now: the user may have switched it off elsewhere.
[[nodiscard]] bool isEnabled();

// To be called at the start: an item that is switched on starts this program, also after it has moved. A failure is
// logged.
void repair();

} // namespace LoginItem
} // namespace quillmount
