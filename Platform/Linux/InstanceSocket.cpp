// SPDX-License-Identifier: LicenseRef-Quillmount
#include "Platform/Linux/InstanceSocket.h"

#include "Platform/Linux/PlatformLog.h"

#include <QCryptographicHash>
#include <QDeadlineTimer>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QScopeGuard>
#include <QSocketNotifier>

#include <array>
#include <cerrno>
#include <fcntl.h>
#include <poll.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

namespace quillmount {

using namespace Qt::StringLiterals;

namespace {

constexpr auto timeout = std::chrono::seconds(2);
constexpr auto retryPause = std::chrono::milliseconds(50);
constexpr size_t maxMessage = 4096;
constexpr qsizetype maxConnections = 8;
constexpr QByteArrayView marks = "fbsq"; // in the order of the wishes
constexpr char answer = 'k';

// The runtime folder, if it is what it has to be; else empty.
QString runtimeFolder() {
    const QString folder = qEnvironmentVariable("XDG_RUNTIME_DIR");
    struct stat found = {};
    const bool isPrivate = QDir::isAbsolutePath(folder) && ::stat(QFile::encodeName(folder).constData(), &found) == 0 &&
                           S_ISDIR(found.st_mode) && found.st_uid == ::getuid() && (found.st_mode & 0077) == 0;
    return isPrivate ? folder : QString();
}

bool isOfThisUser(int socket) {
    ucred peer = {};
    socklen_t size = sizeof peer;
    return ::getsockopt(socket, SOL_SOCKET, SO_PEERCRED, &peer, &size) == 0 && peer.uid == ::getuid();
}

// Calls `use` with the address of a socket in a folder. The folder is named by a descriptor: its own path may be longer
// than an address. -1 when the folder cannot be opened.
template <typename Use>
int withAddress(const QString &folder, const QString &name, Use use) {
    const int descriptor = ::open(QFile::encodeName(folder).constData(), O_PATH | O_DIRECTORY | O_CLOEXEC);
    if (descriptor < 0)
        return -1;
    sockaddr_un address = {};
    address.sun_family = AF_UNIX;
    const QByteArray path = "/proc/self/fd/" + QByteArray::number(descriptor) + '/' + QFile::encodeName(name);
    std::copy(path.begin(), path.end(), address.sun_path);
    const int result = use(address);
    const int error = errno;
    ::close(descriptor);
    errno = error;
    return result;
}

int newSocket() {
    return ::socket(AF_UNIX, SOCK_SEQPACKET | SOCK_NONBLOCK | SOCK_CLOEXEC, 0);
}

} // namespace

InstanceSocket::InstanceSocket(const QString &lockFile)
    : m_folder(runtimeFolder())
    , m_name(u"instance.socket"_s) {
    const QFileInfo lock(lockFile);
    if (m_folder.isEmpty()) {
        m_folder = lock.path();
        return;
    }
    // Several homes may have one runtime folder.
    const QByteArray home = QFile::encodeName(QFileInfo(lock.path()).canonicalFilePath());
    const QByteArray hash = QCryptographicHash::hash(home, QCryptographicHash::Sha256).toHex().first(16);
    m_name = u"quillmount-%1.socket"_s.arg(QString::fromLatin1(hash));
}

InstanceSocket::~InstanceSocket() {
    if (m_listener < 0)
        return;
    const QList<int> connections = m_connections.keys();
    for (const int connection : connections)
        close(connection);
    m_listenerNotifier.reset();
    ::close(m_listener);
    QFile::remove(m_folder + u'/' + m_name);
}

bool InstanceSocket::listen() {
    const int listener = newSocket();
    if (listener < 0)
        return false;
    QFile::remove(m_folder + u'/' + m_name);
    const auto bind = [listener](const sockaddr_un &address) {
        return ::bind(listener, reinterpret_cast<const sockaddr *>(&address), sizeof address);
    };
    // The mode of the descriptor becomes that of the file.
    if (::fchmod(listener, 0600) != 0 || withAddress(m_folder, m_name, bind) != 0 || ::listen(listener, 8) != 0) {
        const int error = errno;
        ::close(listener);
        errno = error;
        return false;
    }
    m_listener = listener;
    m_listenerNotifier = std::make_unique<QSocketNotifier>(listener, QSocketNotifier::Read);
    connect(m_listenerNotifier.get(), &QSocketNotifier::activated, this, &InstanceSocket::accept);
    return true;
}

void InstanceSocket::accept() {
    const int connection = ::accept4(m_listener, nullptr, nullptr, SOCK_NONBLOCK | SOCK_CLOEXEC);
    if (connection < 0)
        return;
    if (!isOfThisUser(connection) || m_connections.size() >= maxConnections) {
        qCWarning(platformLog, "a connection of another user, or one too many, to the instance's socket");
        ::close(connection);
        return;
    }
    auto *notifier = new QSocketNotifier(connection, QSocketNotifier::Read, this);
    m_connections.insert(connection, notifier);
    connect(notifier, &QSocketNotifier::activated, this, [this, connection] { read(connection); });
}

void InstanceSocket::read(int connection) {
    QByteArray message(maxMessage, '\0');
    const ssize_t size = ::recv(connection, message.data(), maxMessage, MSG_TRUNC);
    if (size < 0 && (errno == EAGAIN || errno == EINTR))
        return;
    const qsizetype wish = size > 0 ? marks.indexOf(message[0]) : -1;
    const bool isUnderstood = wish >= 0 && size_t(size) <= maxMessage;
    if (isUnderstood)
        ::send(connection, &answer, sizeof answer, MSG_NOSIGNAL);
    else if (size != 0)
        qCWarning(platformLog, "the instance's socket got a message that it does not understand");
    close(connection);
    // The last, because this object may be gone afterwards.
    if (isUnderstood)
        Q_EMIT told(static_cast<SingleInstance::Wish>(wish), message.mid(1, size - 1));
}

void InstanceSocket::close(int connection) {
    QSocketNotifier *notifier = m_connections.take(connection);
    notifier->setEnabled(false);
    notifier->deleteLater();
    ::close(connection);
}

bool InstanceSocket::tell(SingleInstance::Wish wish, const QByteArray &activationToken) const {
    const QDeadlineTimer deadline(timeout);
    const auto fail = [](const QString &reason) {
        qCWarning(platformLog).noquote() << "the running instance was not told of this start:" << reason;
        return false;
    };
    const int socket = newSocket();
    if (socket < 0)
        return fail(systemError());
    const auto close = qScopeGuard([socket] { ::close(socket); });
    const auto connect = [socket](const sockaddr_un &address) {
        return ::connect(socket, reinterpret_cast<const sockaddr *>(&address), sizeof address);
    };
    // The other may have its lock and not yet its socket, or more callers than it has read.
    while (withAddress(m_folder, m_name, connect) != 0) {
        const bool mayCome = errno == ENOENT || errno == ECONNREFUSED || errno == EAGAIN;
        if (!mayCome || deadline.hasExpired())
            return fail(systemError());
        ::poll(nullptr, 0, int(retryPause.count()));
    }
    if (!isOfThisUser(socket))
        return fail(u"its socket is another user's"_s);
    QByteArray message(1, marks[static_cast<qsizetype>(wish)]);
    // A token of this length is no token.
    if (size_t(activationToken.size()) < maxMessage)
        message += activationToken;
    if (::send(socket, message.constData(), size_t(message.size()), MSG_NOSIGNAL) != message.size())
        return fail(systemError());
    pollfd readable = {socket, POLLIN, 0};
    while (::poll(&readable, 1, int(deadline.remainingTime())) < 0 && errno == EINTR) {
    }
    char answered = 0;
    if (::recv(socket, &answered, sizeof answered, 0) != sizeof answered || answered != answer)
        return fail(u"it does not answer"_s);
    return true;
}

} // namespace quillmount
