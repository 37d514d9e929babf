// SPDX-License-Identifier: LicenseRef-Quillmount
#pragma once

#include <QtGlobal>

namespace quillmount {

namespace Ports {

// A TCP port of 127.0.0.1 that was free a moment ago; 53682 when the system names none.
[[nodiscard]] quint16 free();

} // namespace Ports
} // namespace quillmount
