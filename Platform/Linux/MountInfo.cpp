// SPDX-License-Identifier: LicenseRef-Quillmount
#include "Platform/Linux/MountInfo.h"

#include "Platform/Linux/PlatformLog.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>

namespace quillmount {

using namespace Qt::StringLiterals;

namespace {

// The kernel writes white space and the backslash as a backslash and three octal digits.
QByteArray unescaped(const QByteArray &field) {
    QByteArray result;
    result.reserve(field.size());
    for (qsizetype i = 0; i < field.size(); ++i) {
        bool isOctal = false;
        const int code = field[i] == '\\' ? field.mid(i + 1, 3).toInt(&isOctal, 8) : 0;
        if (isOctal && i + 3 < field.size()) {
            result += char(code);
            i += 3;
        } else {
            result += field[i];
        }
    }
    return result;
}

// ID, parent's ID, device, root in the file system, mount point, options, any number of others, a dash, type, …
constexpr qsizetype mountPointField = 4;

std::optional<QByteArray> kernelsList() {
    QFile file(u"/proc/self/mountinfo"_s);
    if (file.open(QIODevice::ReadOnly))
        return file.readAll();
    qCWarning(platformLog) << "the list of mounts cannot be read:" << file.errorString();
    return std::nullopt;
}

} // namespace

QList<QByteArray> mountPoints(const QByteArray &mountInfo) {
    QList<QByteArray> points;
    for (const QByteArray &line : mountInfo.split('\n')) {
        const QList<QByteArray> fields = line.split(' ');
        if (fields.size() > mountPointField)
            points.append(unescaped(fields[mountPointField]));
    }
    return points;
}

std::optional<QByteArray> mountPointName(const QString &path) {
    const QString clean = QDir::cleanPath(path);
    if (clean == "/"_L1)
        return "/"_ba;
    const qsizetype slash = clean.lastIndexOf(u'/');
    if (slash < 0)
        return std::nullopt;
    QString parent = QFileInfo(slash == 0 ? u"/"_s : clean.first(slash)).canonicalFilePath();
    if (parent.isEmpty())
        return std::nullopt;
    if (parent == "/"_L1)
        parent.clear();
    return QFile::encodeName(parent + clean.sliced(slash));
}

std::optional<bool> isListed(const QByteArray &mountPointName) {
    const auto list = kernelsList();
    return list ? std::optional(mountPoints(*list).contains(mountPointName)) : std::nullopt;
}

std::optional<QByteArray> fileSystemAt(const QByteArray &mountInfo, const QByteArray &mountPointName) {
    std::optional<QByteArray> type;
    for (const QByteArray &line : mountInfo.split('\n')) {
        const QList<QByteArray> fields = line.split(' ');
        const qsizetype dash = fields.indexOf("-", mountPointField + 2);
        if (dash > 0 && dash + 1 < fields.size() && unescaped(fields[mountPointField]) == mountPointName)
            type = fields[dash + 1];
    }
    return type;
}

std::optional<QByteArray> fileSystemAt(const QByteArray &mountPointName) {
    const auto list = kernelsList();
    return list ? fileSystemAt(*list, mountPointName) : std::nullopt;
}

} // namespace quillmount
