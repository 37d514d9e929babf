// SPDX-License-Identifier: LicenseRef-Quillmount
#pragma once

#include "Tests/Support/LocalGoogle.h"

#include <QJsonObject>
#include <QNetworkAccessManager>
#include <QNetworkReply>

namespace quillmount {

// A client of Google for tests: over the proxy, with the local authority, one request at a time.
class GoogleClient {
public:
    struct Answer {
        int status = 0; // 0: no answer came.
        QByteArray body;
        QJsonObject json;
        QMap<QByteArray, QByteArray> headers;

        // The reason in Google's form of an error.
        QString reason() const;
    };
    using Headers = QList<QPair<QByteArray, QByteArray>>;

    explicit GoogleClient(const LocalGoogle &google);

    Answer get(const QString &path) { return send("GET", path, {}, {}); }
    Answer json(const QByteArray &method, const QString &path, const QJsonObject &body);
    // `path` starts with "/", or is a whole address. The bearer token is added unless a header "Authorization" is
    // given. An address of this machine is asked without the proxy; redirects are not followed.
    Answer send(const QByteArray &method, const QString &path, const QByteArray &body, const Headers &headers);
    static Answer finish(QNetworkReply *reply);

    void setToken(const QString &token) { m_token = token.toLatin1(); }
    QByteArray token() const { return m_token; }

private:
    QNetworkAccessManager m_network;
    QNetworkAccessManager m_direct; // To the local Google itself.
    QByteArray m_token;
};

} // namespace quillmount
