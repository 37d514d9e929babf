// SPDX-License-Identifier: LicenseRef-Quillmount
#include "FileResource.h"

#include "GoogleStandIn/ApiError.h"
#include "GoogleStandIn/TimeText.h"

#include <QJsonArray>
#include <QJsonDocument>

using namespace Qt::StringLiterals;

namespace quillmount::standin {

QJsonObject fileResource(const FileView &view) {
    const DriveEntry &entry = view.entry;
    const bool folder = entry.isFolder();
    QJsonObject file{{"kind"_L1, "drive#file"_L1},
                     {"id"_L1, entry.id},
                     {"name"_L1, entry.name},
                     {"mimeType"_L1, entry.mimeType},
                     {"trashed"_L1, view.trashed},
                     {"explicitlyTrashed"_L1, entry.trashed},
                     {"createdTime"_L1, formatTime(entry.createdMs)},
                     {"modifiedTime"_L1, formatTime(entry.modifiedMs)},
                     {"version"_L1, QString::number(entry.changeSequence)},
                     {"spaces"_L1, QJsonArray{"drive"_L1}},
                     {"ownedByMe"_L1, true},
                     {"shared"_L1, false},
                     {"starred"_L1, false},
                     {"isAppAuthorized"_L1, true},
                     {"webViewLink"_L1, QString((folder ? u"https://drive.google.com/drive/folders/"_s
                                                        : u"https://drive.google.com/file/d/"_s) +
                                                entry.id)}};
    if (!entry.parentId.isEmpty()) {
        file.insert("parents"_L1, QJsonArray{entry.parentId});
    }
    if (!folder) {
        file.insert("size"_L1, QString::number(entry.size));
        file.insert("quotaBytesUsed"_L1, QString::number(entry.size));
        file.insert("md5Checksum"_L1, entry.md5);
        file.insert("originalFilename"_L1, entry.name);
    }
    return file;
}

namespace {
ApiError invalidValue(const QString &name) {
    return ApiError::badRequest(u"Invalid value for field '%1'"_s.arg(name));
}

QString text(const QString &name, const QJsonValue &value) {
    if (!value.isString() || value.toString().contains(QChar::Null))
        throw invalidValue(name);
    return value.toString();
}

qint64 time(const QString &name, const QJsonValue &value) {
    const std::optional<qint64> ms = parseTime(text(name, value));
    if (!ms)
        throw invalidValue(name);
    return *ms;
}

void set(FilePatch &patch, const QString &name, const QJsonValue &value, bool creating) {
    if (name == "name"_L1) {
        patch.name = text(name, value);
    } else if (name == "mimeType"_L1) {
        patch.mimeType = text(name, value);
    } else if (name == "modifiedTime"_L1) {
        patch.modifiedMs = time(name, value);
    } else if (name == "trashed"_L1 && value.isBool()) {
        patch.trashed = value.toBool();
    } else if (name == "createdTime"_L1 && creating) {
        patch.createdMs = time(name, value);
    } else if (name == "id"_L1 && creating) {
        patch.id = text(name, value);
    } else if (name == "parents"_L1 && creating && value.isArray()) {
        QStringList parents;
        const QJsonArray array = value.toArray();
        for (const QJsonValue &parent : array)
            parents.append(text(name, parent));
        patch.parents = parents;
    } else {
        throw ApiError(403, u"fieldNotWritable"_s,
                       u"The resource body includes fields which are not directly writable: %1."_s.arg(name));
    }
}
} // namespace

FilePatch parseFilePatch(const QByteArray &json, bool creating) {
    FilePatch patch;
    if (json.trimmed().isEmpty())
        return patch;
    QJsonParseError error;
    const QJsonDocument document = QJsonDocument::fromJson(json, &error);
    if (!document.isObject())
        throw ApiError(400, u"parseError"_s, u"Parse Error"_s);
    const QJsonObject object = document.object();
    for (auto it = object.begin(); it != object.end(); ++it)
        set(patch, it.key(), it.value(), creating);
    return patch;
}

} // namespace quillmount::standin
