// SPDX-License-Identifier: LicenseRef-Quillmount
#include "App/Auth/RedirectListener.h"

#include "App/Auth/ListenerError.h"
#include "Platform/Platform.h"

#include <QCoreApplication>
#include <QPointer>
#include <QTcpSocket>

namespace quillmount {

namespace {

constexpr qsizetype mostConnections = 32;
constexpr int backlog = 128;
constexpr auto breath = std::chrono::milliseconds(100);

} // namespace

// It outlives the sign-in, so the application owns it.
RedirectListener::RedirectListener(RedirectResponder responder)
    : QObject(QCoreApplication::instance())
    , m_responder(std::move(responder)) {
    m_server.setListenBacklogSize(backlog);
    connect(&m_server, &QTcpServer::newConnection, this, &RedirectListener::accept);
    connect(&m_server, &QTcpServer::acceptError, this, &RedirectListener::pause);
}

quint16 RedirectListener::listen() {
    if (!m_server.listen(QHostAddress(QHostAddress::LocalHost), 0))
        throw ListenerError(m_server.serverError());
    return m_server.serverPort();
}

void RedirectListener::retire(Connections connections) {
    m_retired = true;
    m_server.close();
    if (connections == Connections::drop)
        while (dropOldestSilent()) {
        }
    deleteWhenDone();
}

void RedirectListener::accept() {
    while (QTcpSocket *socket = m_server.nextPendingConnection()) {
        makeRoom();
        auto *connection = new RedirectConnection(socket, m_responder, this);
        connect(connection, &RedirectConnection::ended, this, [this, connection] { forget(connection); });
        m_connections.append(connection);
    }
}

void RedirectListener::makeRoom() {
    while (m_connections.size() >= mostConnections)
        // All of them have been answered: the oldest has had the most time to read it.
        if (!dropOldestSilent())
            m_connections.first()->drop();
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

// The process has no descriptor left, or something like it; QTcpServer stops accepting until it is told to go on.
void RedirectListener::pause() {
    (void)dropOldestSilent();
    Platform::current().clock->schedule(breath, [self = QPointer(this)] {
        if (self && self->m_server.isListening())
            self->m_server.resumeAccepting();
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
