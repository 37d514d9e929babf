// SPDX-License-Identifier: LicenseRef-Quillmount
#pragma once

#include <QLoggingCategory>
#include <QString>

namespace quillmount {

// "quillmount.platform": what went wrong between the application and the system.
Q_DECLARE_LOGGING_CATEGORY(platformLog)

// What errno says, in words. To be asked before anything else is called: logging itself changes errno.
[[nodiscard]] QString systemError();

} // namespace quillmount
