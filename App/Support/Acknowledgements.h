// SPDX-License-Identifier: LicenseRef-Quillmount
#pragma once

#include <QString>

namespace quillmount {

namespace Acknowledgements {

// The licences of the open-source software that the application includes, some hundred kilobytes of lines of text. Read
// from the bundle at each call; empty when it is missing or cannot be read.
[[nodiscard]] QString text();

} // namespace Acknowledgements
} // namespace quillmount
