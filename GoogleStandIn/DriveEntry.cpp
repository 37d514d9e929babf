// SPDX-License-Identifier: LicenseRef-Quillmount
#include "DriveEntry.h"

using namespace Qt::StringLiterals;

namespace quillmount::standin {

QJsonObject DriveEntry::toJson() const {
    // 64-bit numbers as text: a JSON number keeps 53 bits.
    const auto text = [](auto number) { return QString::number(number); };
    QJsonObject json{{"id"_L1, id},
                     {"name"_L1, name},
                     {"type"_L1, mimeType},
                     {"parent"_L1, parentId},
                     {"disk"_L1, diskName},
                     {"ordinal"_L1, ordinal},
                     {"created"_L1, createdMs},
                     {"modified"_L1, modifiedMs},
                     {"sequence"_L1, changeSequence},
                     {"inode"_L1, text(stamp.inode)},
                     {"birth"_L1, text(stamp.birthNs)},
                     {"diskSize"_L1, text(stamp.size)},
                     {"diskTime"_L1, text(stamp.modifiedNs)}};
    if (!isFolder()) {
        json.insert("size"_L1, text(size));
        json.insert("md5"_L1, md5);
    }
    if (!app.isEmpty())
        json.insert("app"_L1, app);
    if (trashed)
        json.insert("trashed"_L1, true);
    if (gone)
        json.insert("gone"_L1, true);
    return json;
}

DriveEntry DriveEntry::fromJson(const QJsonObject &json) {
    const auto text = [&](QLatin1StringView name) { return json.value(name).toString(); };
    DriveEntry entry;
    entry.id = text("id"_L1);
    entry.name = text("name"_L1);
    entry.mimeType = text("type"_L1);
    entry.parentId = text("parent"_L1);
    entry.diskName = text("disk"_L1);
    entry.app = text("app"_L1);
    entry.md5 = text("md5"_L1);
    entry.ordinal = json.value("ordinal"_L1).toInteger();
    entry.size = text("size"_L1).toLongLong();
    entry.createdMs = json.value("created"_L1).toInteger();
    entry.modifiedMs = json.value("modified"_L1).toInteger();
    entry.changeSequence = json.value("sequence"_L1).toInteger();
    entry.trashed = json.value("trashed"_L1).toBool();
    entry.gone = json.value("gone"_L1).toBool();
    entry.stamp = {.inode = text("inode"_L1).toULongLong(),
                   .birthNs = text("birth"_L1).toLongLong(),
                   .size = text("diskSize"_L1).toLongLong(),
                   .modifiedNs = text("diskTime"_L1).toLongLong()};
    return entry;
}

} // namespace quillmount::standin
