// SPDX-License-Identifier: LicenseRef-Quillmount
#include "StateFolder.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QSaveFile>

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

using namespace Qt::StringLiterals;

namespace quillmount::standin {

bool writeAtomically(const QString &path, const QByteArray &content) {
    QSaveFile file(path);
    if (!file.open(QIODevice::WriteOnly))
        return false;
    file.setPermissions(QFile::ReadOwner | QFile::WriteOwner);
    return file.write(content) == content.size() && file.commit();
}

StateFolder::StateFolder(const QString &path) {
    if (!QDir().mkpath(path))
        throw StartError(u"The folder %1 cannot be made."_s.arg(path));
    m_path = QFileInfo(path).canonicalFilePath();
    const QString lock = state() + u"/lock"_s;
    if (!QDir().mkpath(state()) || ::chmod(QFile::encodeName(state()).constData(), 0700) != 0)
        throw StartError(u"The folder %1 cannot be written."_s.arg(m_path));
    m_lock = ::open(QFile::encodeName(lock).constData(), O_RDWR | O_CREAT | O_CLOEXEC, 0600);
    if (m_lock < 0)
        throw StartError(u"The lock file %1 cannot be made."_s.arg(lock));
    if (::flock(m_lock, LOCK_EX | LOCK_NB) != 0) {
        ::close(m_lock);
        throw StartError(u"Another instance already serves the folder %1."_s.arg(m_path));
    }
    if (!QDir().mkpath(files()) || !QDir().mkpath(trash()) || !QDir().mkpath(staging()))
        throw StartError(u"The folders below %1 cannot be made."_s.arg(m_path));
}

StateFolder::~StateFolder() {
    ::close(m_lock);
}

} // namespace quillmount::standin
