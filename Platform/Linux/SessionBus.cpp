// SPDX-License-Identifier: LicenseRef-Quillmount
#include "Platform/Linux/SessionBus.h"

#include "Platform/OwnEnvironment.h"

#include <QFile>
#include <QFileInfo>

#include <unistd.h>

namespace quillmount {

using namespace Qt::StringLiterals;

namespace {
constexpr auto variable = "DBUS_SESSION_BUS_ADDRESS";
// A transport that no library knows: connecting fails, and there is no address left to look for.
constexpr auto noBus = "disabled:";
} // namespace

bool SessionBus::isThere() {
    if (qEnvironmentVariableIsSet(variable)) {
        const QByteArray address = qgetenv(variable);
        return !address.isEmpty() && address != noBus && !address.contains("autolaunch:");
    }
    const QByteArray runtime = qgetenv("XDG_RUNTIME_DIR");
    return !runtime.isEmpty() && QFileInfo(QFile::decodeName(runtime + "/bus")).ownerId() == ::getuid();
}

void SessionBus::startNone() {
    if (!isThere())
        OwnEnvironment::set(variable, noBus);
}

} // namespace quillmount
