// SPDX-License-Identifier: LicenseRef-Quillmount
#include "Tests/App/Auth/Browser.h"

#include "Tests/Support/WaitFor.h"

#include <QHostAddress>

namespace quillmount {

Browser::Browser(quint16 port) {
    QObject::connect(&m_socket, &QTcpSocket::bytesWritten, &m_socket, [this](qint64 count) { m_taken += count; });
    m_socket.connectToHost(QHostAddress(QHostAddress::LocalHost), port);
}

void Browser::send(const QByteArray &bytes) {
    m_socket.write(bytes);
}

void Browser::get(const QByteArray &target) {
    send("GET " + target + " HTTP/1.1\r\nHost: " + m_socket.peerName().toLatin1() +
         "\r\nConnection: keep-alive\r\n\r\n");
}

QByteArray Browser::received() {
    if (!waitFor([this] { return m_socket.state() == QAbstractSocket::UnconnectedState; }))
        return {};
    return m_socket.readAll();
}

} // namespace quillmount
