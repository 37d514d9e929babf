// SPDX-License-Identifier: LicenseRef-Quillmount
#include "Tests/App/Auth/TokenServer.h"

#include "App/Auth/GoogleAuth.h"

#include <QJsonDocument>
#include <QSslConfiguration>
#include <QSslServer>
#include <QTcpSocket>
#include <QTimer>
#include <QUrlQuery>

namespace quillmount {

using namespace Qt::StringLiterals;

namespace {

std::unique_ptr<QTcpServer> tlsServer(const QSslConfiguration &configuration) {
    auto server = std::make_unique<QSslServer>();
    server->setSslConfiguration(configuration);
    return server;
}

} // namespace

TokenServer::TokenServer(const QSslConfiguration &configuration)
    : TokenServer(tlsServer(configuration), u"https"_s) {}

TokenServer::TokenServer(std::unique_ptr<QTcpServer> server, const QString &scheme)
    : m_server(std::move(server))
    , m_scheme(scheme) {
    if (!m_server->listen(QHostAddress(QHostAddress::LocalHost)))
        qFatal("no port for the token endpoint");
    connect(m_server.get(), &QTcpServer::pendingConnectionAvailable, this, [this] {
        while (QTcpSocket *socket = m_server->nextPendingConnection()) {
            // Some versions of Qt open a second connection after a loss, and have nothing to say on it.
            connect(
                socket, &QTcpSocket::readyRead, this, [this] { ++m_connections; }, Qt::SingleShotConnection);
            connect(socket, &QTcpSocket::readyRead, this, [this, socket] { receive(socket); });
        }
    });
    setTokens(goodTokens());
}

QUrl TokenServer::url() const {
    return QUrl(u"%1://127.0.0.1:%2/token"_s.arg(m_scheme).arg(m_server->serverPort()));
}

void TokenServer::setRaw(const QByteArray &bytes, Manner manner) {
    m_raw = bytes;
    m_manner = manner;
}

void TokenServer::setAnswer(const QByteArray &status, const QByteArray &body) {
    setRaw("HTTP/1.1 " + status + "\r\nContent-Length: " + QByteArray::number(body.size()) + "\r\n\r\n" + body);
}

void TokenServer::setTokens(const QJsonObject &tokens) {
    setAnswer("200 OK", QJsonDocument(tokens).toJson());
}

QJsonObject TokenServer::goodTokens() {
    return {
        {u"access_token"_s, u"access-secret"_s},
        {u"refresh_token"_s, u"refresh-secret"_s},
        {u"expires_in"_s, 3599},
        {u"scope"_s, GoogleAuth::driveScope() + u" openid"_s},
        {u"id_token"_s, u"h.eyJlbWFpbCI6ImFiQGNkLmVmIn0.s"_s}, // of ab@cd.ef
    };
}

void TokenServer::receive(QTcpSocket *socket) {
    const QByteArray request = socket->peek(socket->bytesAvailable());
    const qsizetype bodyStart = request.indexOf("\r\n\r\n") + 4;
    const qsizetype field = request.toLower().indexOf("\r\ncontent-length:");
    if (bodyStart < 4 || field < 0 || field > bodyStart)
        return;
    const qsizetype length =
        request.mid(field + 17, request.indexOf('\r', field + 2) - field - 17).trimmed().toLongLong();
    if (request.size() < bodyStart + length)
        return;
    socket->readAll();

    Request received = {request.left(bodyStart), request.mid(bodyStart, length), {}};
    const QUrlQuery form(QString::fromLatin1(received.body));
    for (const auto &[name, value] : form.queryItems(QUrl::FullyDecoded))
        received.form.insert(name, value);
    m_requests.append(received);
    reply(socket);
}

void TokenServer::reply(QTcpSocket *socket) {
    socket->write(m_raw);
    socket->flush();
    switch (m_manner) {
    case answering:
        socket->disconnectFromHost();
        break;
    case stalling:
        break;
    case dripping: {
        auto *timer = new QTimer(socket);
        connect(timer, &QTimer::timeout, socket, [socket] { socket->write(" "); });
        timer->start(1);
        break;
    }
    case dropping:
        socket->abort();
        break;
    }
}

} // namespace quillmount
