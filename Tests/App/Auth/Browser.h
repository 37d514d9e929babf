// SPDX-License-Identifier: LicenseRef-Quillmount
#pragma once

#include <QTcpSocket>

namespace quillmount {

// One connection to the listener of a sign-in, as a browser, or anybody, makes it.
class Browser {
public:
    explicit Browser(quint16 port);

    // Sends these bytes, as they are.
    void send(const QByteArray &bytes);
    // Asks for `target`, as a browser does.
    void get(const QByteArray &target);

    // Waits for the whole of what the listener sends, and returns it. Null when it does not come to an end.
    [[nodiscard]] QByteArray received();
    [[nodiscard]] bool isConnected() const { return m_socket.state() == QAbstractSocket::ConnectedState; }
    // How much of what was sent the listener, or the system, has taken.
    [[nodiscard]] qint64 taken() const { return m_taken; }
    [[nodiscard]] QTcpSocket &socket() { return m_socket; }

private:
    QTcpSocket m_socket;
    qint64 m_taken = 0;
};

} // namespace quillmount
