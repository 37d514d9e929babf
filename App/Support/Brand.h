// SPDX-License-Identifier: LicenseRef-Quillmount
#pragma once

#include <QString>

namespace quillmount {

namespace Brand {

// The application's version as users see it, from the information dictionary; "1.0" when it has none.
[[nodiscard]] QString version();

} // namespace Brand
} // namespace quillmount
