// SPDX-License-Identifier: LicenseRef-Quillmount
#include "Platform/Linux/LinuxSingleInstance.h"

#include "Platform/Linux/PlatformLog.h"
#include "Platform/Linux/PrivateFolder.h"

#include <QFile>
#include <QFileInfo>

#include <cerrno>
#include <fcntl.h>
#include <sys/file.h>
#include <unistd.h>

namespace quillmount {

LinuxSingleInstance::LinuxSingleInstance(const QString &file)
    : m_file(file) {}

LinuxSingleInstance::~LinuxSingleInstance() {
    if (m_lock >= 0)
        ::close(m_lock);
}

bool LinuxSingleInstance::acquire() {
    if (m_lock >= 0)
        return true;
    const int lock = makePrivateFolder(QFileInfo(m_file).path())
                         ? ::open(QFile::encodeName(m_file).constData(), O_RDWR | O_CREAT | O_CLOEXEC, 0600)
                         : -1;
    if (lock < 0) {
        const QString error = systemError();
        qCCritical(platformLog) << m_file << "cannot be opened:" << error;
        return false;
    }
    int taken = 0;
    do
        taken = ::flock(lock, LOCK_EX | LOCK_NB);
    while (taken != 0 && errno == EINTR);
    if (taken != 0) {
        const bool isHeld = errno == EWOULDBLOCK;
        if (const QString error = systemError(); !isHeld)
            qCCritical(platformLog) << m_file << "cannot be locked:" << error;
        ::close(lock);
        return false;
    }
    m_lock = lock;
    const QByteArray pid = QByteArray::number(::getpid()) + '\n';
    // The lock is what counts; the number is a courtesy.
    if (::ftruncate(m_lock, 0) != 0 || ::pwrite(m_lock, pid.constData(), size_t(pid.size()), 0) != pid.size())
        qCWarning(platformLog) << m_file << "cannot be written";
    return true;
}

} // namespace quillmount
