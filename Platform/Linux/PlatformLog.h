// SPDX-License-Identifier: LicenseRef-Quillmount
#pragma once

#include <QLoggingCategory>

namespace quillmount {

// "quillmount.platform": what went wrong between the application and the system.
Q_DECLARE_LOGGING_CATEGORY(platformLog)

} // namespace quillmount
