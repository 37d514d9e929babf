// SPDX-License-Identifier: LicenseRef-Quillmount
#pragma once

#include <QHash>
#include <QJsonObject>
#include <QTcpServer>
#include <QUrl>

#include <memory>

class QSslConfiguration;

namespace quillmount {

// A token endpoint on the loopback interface that answers as badly as a test wants.
class TokenServer : public QObject {
    Q_OBJECT

public:
    enum Manner {
        answering, // sends the answer and closes
        stalling,  // sends what there is of the answer, and nothing more
        dripping,  // sends the answer, and then spaces for ever
        dropping,  // sends what there is of the answer, and resets the connection
    };

    struct Request {
        QByteArray head;
        QByteArray body;
        QHash<QString, QString> form; // of the body
    };

    TokenServer()
        : TokenServer(std::make_unique<QTcpServer>(), QStringLiteral("http")) {}
    // Behind TLS, with the certificate of that configuration.
    explicit TokenServer(const QSslConfiguration &configuration);

    [[nodiscard]] QUrl url() const;
    [[nodiscard]] const QList<Request> &requests() const { return m_requests; }

    // How many connections said something, whatever it was.
    [[nodiscard]] int connections() const { return m_connections; }

    // What is sent to every request from now on.
    void setRaw(const QByteArray &bytes, Manner manner = answering);
    void setAnswer(const QByteArray &status, const QByteArray &body);
    void setTokens(const QJsonObject &tokens);
    // Tokens that a sign-in succeeds with.
    [[nodiscard]] static QJsonObject goodTokens();

private:
    TokenServer(std::unique_ptr<QTcpServer> server, const QString &scheme);
    void receive(QTcpSocket *socket);
    void reply(QTcpSocket *socket);

    std::unique_ptr<QTcpServer> m_server;
    QString m_scheme;
    QByteArray m_raw;
    Manner m_manner = answering;
    QList<Request> m_requests;
    int m_connections = 0;
};

} // namespace quillmount
