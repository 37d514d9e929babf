// SPDX-License-Identifier: LicenseRef-Quillmount
#include "Platform/Linux/PlatformLog.h"

#include <cerrno>
#include <cstring>

namespace quillmount {

Q_LOGGING_CATEGORY(platformLog, "quillmount.platform")

QString systemError() {
    return QString::fromLocal8Bit(std::strerror(errno));
}

} // namespace quillmount
