// SPDX-License-Identifier: LicenseRef-Quillmount
#include "GoogleClient.h"

#include <QEventLoop>
#include <QJsonDocument>
#include <QNetworkProxy>
#include <QSslConfiguration>
#include <QTimer>
#include <QUrl>

using namespace Qt::StringLiterals;

namespace quillmount {

namespace {
constexpr int answerLimitMs = 20'000;
}

QString GoogleClient::Answer::reason() const {
    return json.value("error"_L1)["errors"_L1][0]["reason"_L1].toString();
}

GoogleClient::GoogleClient(const LocalGoogle &google)
    : m_token(QJsonDocument::fromJson(google.token())["access_token"_L1].toString().toLatin1()) {
    const QUrl proxy(google.proxy());
    m_network.setProxy(QNetworkProxy(QNetworkProxy::HttpProxy, proxy.host(), quint16(proxy.port())));
    m_direct.setProxy(QNetworkProxy::NoProxy);
    QSslConfiguration configuration = QSslConfiguration::defaultConfiguration();
    configuration.setCaCertificates(QSslCertificate::fromPath(google.certificateAuthority()));
    QSslConfiguration::setDefaultConfiguration(configuration);
}

GoogleClient::Answer GoogleClient::send(const QByteArray &method, const QString &path, const QByteArray &body,
                                        const Headers &headers) {
    const QString address = path.startsWith(u'/') ? u"https://www.googleapis.com"_s + path : path;
    QNetworkRequest request{QUrl(address)};
    request.setRawHeader("Authorization", "Bearer " + m_token);
    for (const auto &[name, value] : headers)
        request.setRawHeader(name, value);
    request.setAttribute(QNetworkRequest::RedirectPolicyAttribute, QNetworkRequest::ManualRedirectPolicy);
    const bool isDirect = QUrl(address).host() == "127.0.0.1"_L1;
    return finish((isDirect ? m_direct : m_network).sendCustomRequest(request, method, body));
}

GoogleClient::Answer GoogleClient::finish(QNetworkReply *reply) {
    QEventLoop loop;
    QObject::connect(reply, &QNetworkReply::finished, &loop, &QEventLoop::quit);
    QTimer::singleShot(answerLimitMs, reply, &QNetworkReply::abort);
    if (!reply->isFinished())
        loop.exec();
    Answer answer;
    answer.status = reply->attribute(QNetworkRequest::HttpStatusCodeAttribute).toInt();
    answer.body = reply->readAll();
    answer.json = QJsonDocument::fromJson(answer.body).object();
    const auto pairs = reply->rawHeaderPairs();
    for (const auto &[name, value] : pairs)
        answer.headers.insert(name.toLower(), value);
    delete reply;
    return answer;
}

GoogleClient::Answer GoogleClient::json(const QByteArray &method, const QString &path, const QJsonObject &body) {
    return send(method, path, QJsonDocument(body).toJson(), {{"Content-Type", "application/json"}});
}

} // namespace quillmount
