// SPDX-License-Identifier: LicenseRef-Quillmount
#include "Platform/Linux/DriveTag.h"

#include <QCryptographicHash>

namespace quillmount {

QByteArray driveTag(const Directories &directories) {
    const QByteArray folder = directories.applicationSupport().toUtf8();
    return QCryptographicHash::hash(folder, QCryptographicHash::Sha256).toHex().left(16);
}

} // namespace quillmount
