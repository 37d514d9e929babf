// SPDX-License-Identifier: LicenseRef-Quillmount
#pragma once

#include <QJsonObject>
#include <QString>

namespace quillmount::standin {

inline constexpr auto folderType = "application/vnd.google-apps.folder";

// How a file lay on the disk when it was last taken in: if any of it differs, somebody changed it by hand.
struct DiskStamp {
    quint64 inode = 0;
    qint64 birthNs = 0;
    qint64 size = 0;
    qint64 modifiedNs = 0;

    bool operator==(const DiskStamp &) const = default;
};

// A file or folder as the drive keeps it.
struct DriveEntry {
    QString id;
    QString name;
    QString mimeType;
    QString parentId; // Empty for the root only.
    QString diskName; // Its name in the folder; differs from `name` where that is taken or cannot be a file name.
    QString app;      // The client that made it; empty: anyone, as with files put into the folder by hand.
    QString md5;      // Hexadecimal; empty for folders.
    qint64 ordinal = 0;
    qint64 size = 0;
    qint64 createdMs = 0;
    qint64 modifiedMs = 0;
    qint64 changeSequence = 0;
    bool trashed = false; // Itself, not by way of a folder above it.
    bool gone = false;    // In the trash without content: it was deleted from the folder by hand.
    DiskStamp stamp;

    bool isFolder() const { return mimeType == QLatin1StringView(folderType); }
    QJsonObject toJson() const;
    static DriveEntry fromJson(const QJsonObject &json);
};

} // namespace quillmount::standin
