// SPDX-License-Identifier: LicenseRef-Quillmount
#pragma once

#include "App/Auth/RedirectConnection.h"

#include <QList>
#include <QTcpServer>

#include <memory>

class QSocketNotifier;

namespace quillmount {

// The port on 127.0.0.1 to which the browser comes back. Other programs of this machine can come as well, and browsers
// open connections on which they never say anything: neither keeps the true redirect out. A connection that is known to
// be another user's is closed unread; no other is refused: of more than 32, the oldest silent one goes.
class RedirectListener : public QObject {
    Q_OBJECT

public:
    enum class Connections {
        serve, // those that exist are answered
        drop,  // those that have said nothing are ended
    };

    explicit RedirectListener(RedirectResponder responder);
    ~RedirectListener() override;
    Q_DISABLE_COPY_MOVE(RedirectListener)

    // Opens a port that the system chooses, and returns it. Throws ListenerError.
    [[nodiscard]] quint16 listen();

    // Closes the port. This object deletes itself with its last connection, a few seconds later at most, so that every
    // answer that was given arrives; it is not to be used any more.
    void retire(Connections connections);

private:
    void accept();
    void serve(int descriptor);
    void makeRoom();
    [[nodiscard]] bool dropOldestSilent();
    void pause();
    void forget(RedirectConnection *connection);
    void deleteWhenDone();

    QTcpServer m_server;
    std::unique_ptr<QSocketNotifier> m_incoming;
    RedirectResponder m_responder;
    QList<RedirectConnection *> m_connections; // the oldest first
    bool m_retired = false;
};

} // namespace quillmount
