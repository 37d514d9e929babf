// SPDX-License-Identifier: LicenseRef-Quillmount
#pragma once

#include <QString>

namespace quillmount {

namespace Secrets {

// `bytes` bytes of the system's secure random source as URL-safe base64 without padding (24 bytes: 32 characters).
[[nodiscard]] QString random(int bytes);

} // namespace Secrets
} // namespace quillmount
