// SPDX-License-Identifier: LicenseRef-Quillmount
#include "App/Engine/EngineLog.h"

#include "App/Support/Paths.h"

#include <QFile>

namespace quillmount {

using namespace Qt::StringLiterals;

namespace {
constexpr QFile::Permissions ownerOnly = QFile::ReadOwner | QFile::WriteOwner;
}

void EngineLog::rotate() {
    const QString former = Paths::formerEngineLog();
    if (QFile::exists(Paths::engineLog())) {
        QFile::remove(former);
        QFile::rename(Paths::engineLog(), former);
        QFile::setPermissions(former, ownerOnly);
    }
    // The engine would make one that the user's group can read. Where it cannot be made, the engine says so.
    QFile log(Paths::engineLog());
    if (log.open(QIODevice::WriteOnly | QIODevice::NewOnly, ownerOnly))
        log.close();
}

} // namespace quillmount
