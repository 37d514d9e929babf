// SPDX-License-Identifier: LicenseRef-Quillmount
#include "Platform/Linux/LinuxBundle.h"

#include "Platform/Linux/PlatformLog.h"

#include <QFile>
#include <QFileInfo>
#include <QJsonDocument>

namespace quillmount {

using namespace Qt::StringLiterals;

LinuxBundle::LinuxBundle(const QString &folder)
    : m_folder(folder) {
    QFile file(m_folder + u"/Info.json"_s);
    if (!file.open(QIODevice::ReadOnly)) {
        qCWarning(platformLog) << "no information dictionary:" << file.fileName() << file.errorString();
        return;
    }
    QJsonParseError error;
    const QJsonDocument document = QJsonDocument::fromJson(file.readAll(), &error);
    if (!document.isObject())
        qCWarning(platformLog) << "the information dictionary is no object:" << file.fileName() << error.errorString();
    m_info = document.object();
}

std::optional<QString> LinuxBundle::infoString(const QString &key) const {
    const QJsonValue value = m_info.value(key);
    return value.isString() ? std::optional(value.toString()) : std::nullopt;
}

std::optional<QString> LinuxBundle::resource(const QString &fileName) const {
    const QFileInfo file(m_folder + u'/' + fileName);
    // A name with a slash would lead out of the bundle.
    if (fileName.isEmpty() || fileName.contains(u'/') || !file.isFile())
        return std::nullopt;
    return file.absoluteFilePath();
}

std::optional<QString> LinuxBundle::location() const {
    const std::optional<QString> name = infoString(u"QMFolderName"_s);
    const QFileInfo folder(m_folder);
    return name && !name->isEmpty() && folder.fileName() == *name ? std::optional(folder.absoluteFilePath())
                                                                  : std::nullopt;
}

std::optional<QString> LinuxBundle::auxiliaryExecutable(const QString &name) const {
    std::optional<QString> path = resource(name);
    return path && QFileInfo(*path).isExecutable() ? path : std::nullopt;
}

} // namespace quillmount
