// SPDX-License-Identifier: LicenseRef-Quillmount
#pragma once

namespace quillmount {

namespace LoginItem {

// Opens the application at login, or no longer. A failure is logged and changes nothing.
void set(bool on);

} // namespace LoginItem
} // namespace quillmount
