// SPDX-License-Identifier: LicenseRef-Quillmount
#include "App/Engine/MountPoint.h"

#include "Platform/Platform.h"

#include <QDir>
#include <QFileInfo>
#include <QTimeZone>

#include <cstdio>

namespace quillmount {

using namespace Qt::StringLiterals;

namespace {

constexpr QFile::Permissions readOnlyDirectory = QFile::ReadOwner | QFile::ExeOwner;

bool isEmptyDirectory(const QFileInfo &info) {
    return info.isDir() && !info.isSymLink() &&
           QDir(info.filePath()).isEmpty(QDir::AllEntries | QDir::Hidden | QDir::System | QDir::NoDotAndDotDot);
}

// Beside the mount point, named so that the person knows what it is and when it happened.
QString asideName(const QString &path) {
    const auto now = Platform::current().clock->now().time_since_epoch().count();
    const QString when = QDateTime::fromMSecsSinceEpoch(now).toString(u"yyyy-MM-dd HH.mm.ss"_s);
    const QString base = path + u" - saved while the drive was away "_s + when;
    QString name = base;
    for (int number = 2; QFileInfo::exists(name); ++number)
        name = base + u" (%1)"_s.arg(number);
    return name;
}

} // namespace

std::optional<QString> MountPoint::prepare(const QString &path) {
    std::optional<QString> setAside;
    const QFileInfo info(path);
    if ((info.exists() || info.isSymLink()) && !isEmptyDirectory(info)) {
        const QString aside = asideName(path);
        if (std::rename(QFile::encodeName(path).constData(), QFile::encodeName(aside).constData()) == 0) {
            setAside = aside;
            if (QFileInfo(aside).isDir() && !QFileInfo(aside).isSymLink())
                QFile::setPermissions(aside, readOnlyDirectory | QFile::WriteOwner);
        }
    }
    QDir().mkpath(path);
    QFile::setPermissions(path, readOnlyDirectory);
    return setAside;
}

} // namespace quillmount
