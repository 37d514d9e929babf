// SPDX-License-Identifier: LicenseRef-Quillmount
#pragma once

#include "Platform/Clock.h"

#include <QByteArray>
#include <QObject>

#include <chrono>
#include <functional>

class QTcpSocket;

namespace quillmount {

// Gives the bytes of the response to the bytes with which a request begins. Copies of it are called for as long as
// there are connections, so it owns what it uses.
using RedirectResponder = std::function<QByteArray(const QByteArray &request)>;

// One connection of a browser: reads once, answers once, and stays until the answer has arrived. Bounded in all of it:
// 10 seconds to say something, 2 to take the answer.
class RedirectConnection : public QObject {
    Q_OBJECT

public:
    // Takes the socket over.
    RedirectConnection(QTcpSocket *socket, RedirectResponder responder, QObject *parent);
    ~RedirectConnection() override;
    Q_DISABLE_COPY_MOVE(RedirectConnection)

    // Whether the other side has said nothing yet. What has arrived unnoticed counts, and is answered by this call.
    [[nodiscard]] bool isSilent();
    // Ends it at once.
    void drop();

Q_SIGNALS:
    // The last that comes from it, once; it may be deleted from the event loop then.
    void ended();

private:
    void receive();
    void answer();
    void closeWhenWritten();
    void discard();
    void end();
    void dropAfter(std::chrono::milliseconds time, bool onlyIfSilent);

    QTcpSocket *m_socket;
    RedirectResponder m_responder;
    Clock::TimerId m_timer = 0;
    qint64 m_discarded = 0;
    bool m_answered = false;
    bool m_ended = false;
};

} // namespace quillmount
