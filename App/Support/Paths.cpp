// SPDX-License-Identifier: LicenseRef-Quillmount
#include "App/Support/Paths.h"

#include "Platform/Platform.h"

#include <QDir>
#include <QFileInfo>

namespace quillmount {

using namespace Qt::StringLiterals;

namespace {
QString applicationSupportDirectory() {
    return Platform::current().directories->applicationSupport() + u"/Quillmount"_s;
}
} // namespace

std::optional<QString> Paths::engineBinary() {
    return Platform::current().bundle->auxiliaryExecutable(u"QuillmountEngine"_s);
}

QString Paths::engineConfig() {
    return applicationSupportDirectory() + u"/engine.conf"_s;
}

bool Paths::hasEngineConfig() {
    return QFileInfo::exists(engineConfig());
}

QString Paths::cacheDirectory() {
    return Platform::current().directories->caches() + u"/Quillmount"_s;
}

QString Paths::logs() {
    return Platform::current().directories->library() + u"/Logs/Quillmount"_s;
}

QString Paths::engineLog() {
    return logs() + u"/engine.log"_s;
}

QString Paths::homeMountPoint() {
    return Platform::current().directories->home() + u"/Quillmount"_s;
}

void Paths::ensureDirectories() {
    for (const QString &directory : {applicationSupportDirectory(), cacheDirectory(), logs()})
        QDir().mkpath(directory);
}

} // namespace quillmount
