// SPDX-License-Identifier: LicenseRef-Quillmount
#include "App/Support/LoginItem.h"

#include "Platform/Platform.h"

#include <QLoggingCategory>

namespace quillmount {

namespace {
Q_LOGGING_CATEGORY(log, "quillmount.loginitem")
}

void LoginItem::set(bool on) {
    if (const auto error = Platform::current().loginItems->setEnabled(on))
        qCWarning(log, "Login item change failed: %ls", qUtf16Printable(*error));
}

} // namespace quillmount
