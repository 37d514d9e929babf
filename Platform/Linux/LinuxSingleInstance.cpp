// SPDX-License-Identifier: LicenseRef-Quillmount
#include "Platform/Linux/LinuxSingleInstance.h"

#include "Platform/Linux/InstanceSocket.h"
#include "Platform/Linux/PlatformLog.h"
#include "Platform/Linux/PrivateFolder.h"
#include "Platform/PlatformError.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QScopeGuard>

#include <cerrno>
#include <fcntl.h>
#include <sys/file.h>
#include <unistd.h>

namespace quillmount {

using namespace Qt::StringLiterals;

LinuxSingleInstance::LinuxSingleInstance(const QString &file)
    : m_file(file) {}

LinuxSingleInstance::~LinuxSingleInstance() {
    m_socket.reset();
    if (m_lock >= 0)
        ::close(m_lock);
}

void LinuxSingleInstance::fail(const char *what) const {
    throw PlatformError(u"%1 cannot be %2: %3"_s.arg(m_file, QLatin1StringView(what), systemError()));
}

SingleInstance::Outcome LinuxSingleInstance::acquire() {
    if (m_lock >= 0)
        return Outcome::acquired;
    const int lock = makePrivateFolder(QFileInfo(m_file).path())
                         ? ::open(QFile::encodeName(m_file).constData(), O_RDWR | O_CREAT | O_CLOEXEC, 0600)
                         : -1;
    if (lock < 0)
        fail("opened");
    const auto close = qScopeGuard([this, lock] {
        if (m_lock < 0)
            ::close(lock);
    });
    int taken = 0;
    do
        taken = ::flock(lock, LOCK_EX | LOCK_NB);
    while (taken != 0 && errno == EINTR);
    if (taken != 0 && errno == EWOULDBLOCK)
        return Outcome::heldByOther;
    if (taken != 0)
        fail("locked");
    const QByteArray pid = QByteArray::number(::getpid()) + '\n';
    // Where not even a number finds room, nothing can be kept about the drive.
    if (::pwrite(lock, pid.constData(), size_t(pid.size()), 0) != pid.size() || ::ftruncate(lock, pid.size()) != 0)
        fail("written");
    m_lock = lock;
    m_socket = std::make_unique<InstanceSocket>(m_file);
    connect(m_socket.get(), &InstanceSocket::told, this, &SingleInstance::startedAgain);
    if (!m_socket->listen())
        qCWarning(platformLog).noquote() << "this instance will not hear of further starts:" << systemError();
    return Outcome::acquired;
}

bool LinuxSingleInstance::tellOther(Wish wish, const QByteArray &activationToken) {
    return InstanceSocket(m_file).tell(wish, activationToken);
}

void LinuxSingleInstance::removeTraces() {
    m_socket.reset();
    if (m_lock < 0)
        return;
    QFile::remove(m_file);
    QDir().rmdir(QFileInfo(m_file).path());
}

} // namespace quillmount
