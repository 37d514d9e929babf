// SPDX-License-Identifier: LicenseRef-Quillmount
#pragma once

#include <QString>

namespace quillmount {

// What some tests need of the machine beyond /dev/fuse. Each function tells at once what is missing and how to bring
// it, or gives an empty text; the test fails with that, since without it nothing would be checked.
namespace Machine {

// For programs on a terminal of their own.
[[nodiscard]] QString lacksTerminals();

// For mounts that nobody else sees.
[[nodiscard]] QString lacksMountNamespaces();

} // namespace Machine
} // namespace quillmount
