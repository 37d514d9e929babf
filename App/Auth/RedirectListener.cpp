// SPDX-License-Identifier: LicenseRef-Quillmount
#include "App/Auth/RedirectListener.h"

#include "App/Auth/ListenerError.h"
#include "Platform/Platform.h"

#include <QCoreApplication>
#include <QPointer>
#include <QSocketNotifier>
#include <QTcpSocket>

#include <cerrno>
#include <sys/socket.h>
#include <unistd.h>

namespace quillmount {

namespace {

constexpr qsizetype maxConnections = 32;
constexpr qsizetype maxAcceptsPerTurn = 16; // then other events have their turn
constexpr int backlog = 128;
constexpr auto acceptPause = std::chrono::milliseconds(100);

} // namespace

// It outlives the sign-in, so the application owns it.
RedirectListener::RedirectListener(RedirectResponder responder)
    : QObject(QCoreApplication::instance())
    , m_responder(std::move(responder)) {
    m_server.setListenBacklogSize(backlog);
}

RedirectListener::~RedirectListener() = default;

quint16 RedirectListener::listen() {
    if (!m_server.listen(QHostAddress(QHostAddress::LocalHost), 0))
        throw ListenerError(m_server.serverError());
    // QTcpServer does not notice that the process has run out of descriptors once it has accepted a connection: it then
    // tries again without end. So it listens, and accepting is done here.
    m_server.pauseAccepting();
    m_incoming = std::make_unique<QSocketNotifier>(m_server.socketDescriptor(), QSocketNotifier::Read);
    connect(m_incoming.get(), &QSocketNotifier::activated, this, &RedirectListener::accept);
    return m_server.serverPort();
}

void RedirectListener::retire(Connections connections) {
    m_retired = true;
    m_incoming.reset();
    m_server.close();
    if (connections == Connections::drop)
        while (dropOldestSilent()) {
        }
    deleteWhenDone();
}

void RedirectListener::accept() {
    QList<int> accepted;
    while (accepted.size() < maxAcceptsPerTurn) {
        const int descriptor = ::accept4(int(m_incoming->socket()), nullptr, nullptr, SOCK_CLOEXEC);
        if (descriptor >= 0)
            accepted.append(descriptor);
        else if (errno == EAGAIN)
            break;
        else if (errno != EINTR && errno != ECONNABORTED) {
            pause();
            break;
        }
    }
    // Another user can read the address in the browser's arguments, and would bring a code of an account of theirs.
    const QList<int> foreign = Platform::current().localPeers->foreign(accepted);
    for (const int descriptor : std::as_const(accepted)) {
        if (foreign.contains(descriptor))
            ::close(descriptor);
        else
            serve(descriptor);
    }
}

void RedirectListener::serve(int descriptor) {
    auto socket = std::make_unique<QTcpSocket>();
    if (!socket->setSocketDescriptor(descriptor)) {
        ::close(descriptor);
        return;
    }
    makeRoom();
    auto *connection = new RedirectConnection(socket.release(), m_responder, this);
    connect(connection, &RedirectConnection::ended, this, [this, connection] { forget(connection); });
    m_connections.append(connection);
}

void RedirectListener::makeRoom() {
    while (m_connections.size() >= maxConnections) {
        if (dropOldestSilent())
            continue;
        // Those that are left have been answered, but looking at them may have ended some: the oldest has had the most
        // time to read its answer.
        if (m_connections.size() >= maxConnections)
            m_connections.first()->drop();
    }
}

bool RedirectListener::dropOldestSilent() {
    // A copy: a connection that turns out not to be silent is answered, and may end.
    const QList<RedirectConnection *> connections = m_connections;
    for (RedirectConnection *connection : connections) {
        if (!connection->isSilent())
            continue;
        connection->drop();
        return true;
    }
    return false;
}

// Out of file descriptors (EMFILE, ENFILE) or memory.
void RedirectListener::pause() {
    m_incoming->setEnabled(false);
    (void)dropOldestSilent();
    Platform::current().clock->schedule(acceptPause, [self = QPointer(this)] {
        if (self && self->m_incoming)
            self->m_incoming->setEnabled(true);
    });
}

void RedirectListener::forget(RedirectConnection *connection) {
    m_connections.removeOne(connection);
    connection->deleteLater();
    deleteWhenDone();
}

void RedirectListener::deleteWhenDone() {
    if (m_retired && m_connections.isEmpty())
        deleteLater();
}

} // namespace quillmount
