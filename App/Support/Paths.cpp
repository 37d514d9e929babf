// SPDX-License-Identifier: LicenseRef-Quillmount
#include "App/Support/Paths.h"

#include "Platform/Platform.h"

#include <QDir>
#include <QFileInfo>
#include <QLoggingCategory>

namespace quillmount {

using namespace Qt::StringLiterals;

namespace {

Q_LOGGING_CATEGORY(log, "quillmount.paths")

} // namespace

QString Paths::supportFolder() {
    return Platform::current().directories->applicationSupport() + u"/Quillmount"_s;
}

std::optional<QString> Paths::engineBinary() {
    return Platform::current().bundle->auxiliaryExecutable(u"QuillmountEngine"_s);
}

QString Paths::engineConfig() {
    return supportFolder() + u"/engine.conf"_s;
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

QString Paths::formerEngineLog() {
    return engineLog() + u".1"_s;
}

QString Paths::homeMountPoint() {
    return Platform::current().directories->home() + u"/Quillmount"_s;
}

QString Paths::stateFolder() {
    return Platform::current().directories->library() + u"/Quillmount"_s;
}

QString Paths::mountPointMark() {
    return stateFolder() + u"/mount-point"_s;
}

void Paths::ensureDirectories() {
    constexpr QFile::Permissions ownerOnly = QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner;
    constexpr QFile::Permissions everybody(0x7077); // without those that say the same of the present user
    for (const QString &folder : {supportFolder(), cacheDirectory(), logs()}) {
        QDir().mkpath(QFileInfo(folder).path());
        QDir().mkdir(folder, ownerOnly);
        // What a link leads to, a disk of the user's for instance, is not ours to close.
        const QFileInfo made(folder);
        if (!made.isDir())
            qCWarning(log, "the folder %ls cannot be made", qUtf16Printable(folder));
        else if (!made.isSymLink() && (made.permissions() & everybody) != ownerOnly)
            QFile::setPermissions(folder, ownerOnly);
    }
}

} // namespace quillmount
