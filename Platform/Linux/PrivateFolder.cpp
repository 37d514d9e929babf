// SPDX-License-Identifier: LicenseRef-Quillmount
#include "Platform/Linux/PrivateFolder.h"

#include <QFile>
#include <QFileInfo>

#include <cerrno>
#include <sys/stat.h>

namespace quillmount {

bool makePrivateFolder(const QString &path) {
    const QByteArray name = QFile::encodeName(path);
    if (::mkdir(name.constData(), 0700) == 0)
        return true;
    if (errno == ENOENT) {
        const QString parent = QFileInfo(path).path();
        if (parent == path || !makePrivateFolder(parent))
            return false;
        if (::mkdir(name.constData(), 0700) == 0)
            return true;
    }
    if (errno != EEXIST)
        return false;
    struct stat found = {};
    if (::stat(name.constData(), &found) != 0)
        return false;
    errno = ENOTDIR;
    return S_ISDIR(found.st_mode);
}

} // namespace quillmount
