// SPDX-License-Identifier: LicenseRef-Quillmount
#include "Platform/Linux/PlatformLog.h"

namespace quillmount {

Q_LOGGING_CATEGORY(platformLog, "quillmount.platform")

} // namespace quillmount
