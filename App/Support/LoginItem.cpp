// SPDX-License-Identifier: LicenseRef-Quillmount
#include "App/Support/LoginItem.h"

#include "Platform/Platform.h"
#include "Platform/PlatformError.h"

#include <QLoggingCategory>

namespace quillmount {

namespace {
Q_LOGGING_CATEGORY(log, "quillmount.loginitem")
}

void LoginItem::set(bool on) {
    try {
        Platform::current().loginItems->setEnabled(on);
    } catch (const PlatformError &error) {
        qCWarning(log, "Login item change failed: %s", error.what());
    }
}

bool LoginItem::isEnabled() {
    return Platform::current().loginItems->isEnabled();
}

void LoginItem::repair() {
    try {
        Platform::current().loginItems->repair();
    } catch (const PlatformError &error) {
        qCWarning(log, "Login item could not be mended: %s", error.what());
    }
}

} // namespace quillmount
