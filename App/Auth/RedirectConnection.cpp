// SPDX-License-Identifier: LicenseRef-Quillmount
#include "App/Auth/RedirectConnection.h"

#include "Platform/Platform.h"

#include <QPointer>
#include <QTcpSocket>

#include <sys/socket.h>

namespace quillmount {

namespace {

constexpr qint64 maxRequest = 16384;
constexpr qint64 maxDiscarded = 1024 * 1024; // what is read and thrown away after the request
constexpr auto requestTimeout = std::chrono::seconds(10);
constexpr auto answerTimeout = std::chrono::seconds(2);

} // namespace

RedirectConnection::RedirectConnection(QTcpSocket *socket, RedirectResponder responder, QObject *parent)
    : QObject(parent)
    , m_socket(socket)
    , m_responder(std::move(responder)) {
    m_socket->setParent(this);
    m_socket->setReadBufferSize(maxRequest);
    connect(m_socket, &QTcpSocket::readyRead, this, &RedirectConnection::receive);
    connect(m_socket, &QTcpSocket::bytesWritten, this, &RedirectConnection::closeWhenWritten);
    connect(m_socket, &QTcpSocket::disconnected, this, &RedirectConnection::end);
    dropAfter(requestTimeout, true);
}

RedirectConnection::~RedirectConnection() {
    // The socket, a child, says that it is disconnected when it is destroyed.
    m_socket->disconnect(this);
}

bool RedirectConnection::isSilent() {
    if (!m_answered && !m_ended)
        m_socket->waitForReadyRead(0);
    return !m_answered && !m_ended;
}

void RedirectConnection::drop() {
    if (m_ended)
        return;
    m_socket->abort();
    end();
}

void RedirectConnection::receive() {
    if (m_answered)
        discard();
    else if (m_socket->bytesAvailable() > 0)
        answer();
}

void RedirectConnection::answer() {
    m_answered = true;
    m_socket->write(m_responder(m_socket->read(maxRequest)));
    m_socket->flush();
    dropAfter(answerTimeout, false);
    closeWhenWritten();
    discard();
}

// Half of it, for the rest of the request may still be on its way: a socket that is closed over unread input resets the
// connection, and the other side loses an answer that it has not read yet.
void RedirectConnection::closeWhenWritten() {
    if (m_answered && !m_ended && m_socket->bytesToWrite() == 0)
        ::shutdown(int(m_socket->socketDescriptor()), SHUT_WR);
}

void RedirectConnection::discard() {
    m_discarded += m_socket->skip(maxDiscarded);
    if (m_discarded > maxDiscarded)
        drop();
}

void RedirectConnection::end() {
    if (m_ended)
        return;
    m_ended = true;
    Platform::current().clock->cancel(m_timer);
    Q_EMIT ended();
}

void RedirectConnection::dropAfter(std::chrono::milliseconds time, bool onlyIfSilent) {
    Clock &clock = *Platform::current().clock;
    clock.cancel(m_timer);
    // Not cancelled by the destructor: the clock may be gone before a connection whose answer is on its way.
    m_timer = clock.schedule(time, [self = QPointer(this), onlyIfSilent] {
        if (self && !(onlyIfSilent && self->m_answered))
            self->drop();
    });
}

} // namespace quillmount
