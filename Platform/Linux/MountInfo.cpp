// SPDX-License-Identifier: LicenseRef-Quillmount
#include "Platform/Linux/MountInfo.h"

#include "Platform/Linux/PlatformLog.h"

#include <QDir>
#include <QFile>

namespace quillmount {

using namespace Qt::StringLiterals;

namespace {

std::optional<std::vector<MountRecord>> mountsNamed(const QByteArray &mountPointName) {
    const auto mounts = currentMounts();
    if (mounts)
        return mountsAt(*mounts, mountPointName.toStdString());
    qCWarning(platformLog) << "the list of mounts cannot be read";
    return std::nullopt;
}

} // namespace

std::optional<QByteArray> mountPointName(const QString &path) {
    const QString clean = QDir::cleanPath(path);
    if (clean == "/"_L1)
        return "/"_ba;
    const std::string name = resolveMountPoint(QFile::encodeName(clean).toStdString());
    return name.empty() ? std::nullopt : std::optional(QByteArray::fromStdString(name));
}

std::optional<bool> isListed(const QByteArray &mountPointName) {
    const auto mounts = mountsNamed(mountPointName);
    return mounts ? std::optional(!mounts->empty()) : std::nullopt;
}

std::optional<MountRecord> uppermostAt(const QByteArray &mountPointName) {
    const auto mounts = mountsNamed(mountPointName);
    return mounts && !mounts->empty() ? std::optional(mounts->back()) : std::nullopt;
}

} // namespace quillmount
