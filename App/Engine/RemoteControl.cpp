// SPDX-License-Identifier: LicenseRef-Quillmount
#include "App/Engine/RemoteControl.h"

#include "App/Support/NetworkError.h"

#include <QCoreApplication>
#include <QCoroNetworkReply>
#include <QJsonDocument>
#include <QNetworkAccessManager>
#include <QNetworkCookieJar>
#include <QNetworkProxy>
#include <QNetworkReply>
#include <QPointer>
#include <QUrl>

#include <chrono>
#include <memory>

namespace quillmount {

using namespace Qt::StringLiterals;

namespace {

constexpr auto answerTimeout = std::chrono::seconds(5);

// Keeps nothing: the engine has no business with cookies.
class NoCookies final : public QNetworkCookieJar {
public:
    using QNetworkCookieJar::QNetworkCookieJar;
    [[nodiscard]] QList<QNetworkCookie> cookiesForUrl(const QUrl & /*url*/) const override { return {}; }
    bool setCookiesFromUrl(const QList<QNetworkCookie> & /*cookies*/, const QUrl & /*url*/) override { return false; }
};

struct DeleteLater {
    void operator()(QNetworkReply *reply) const { reply->deleteLater(); }
};

// Static on purpose: it owns copies of all it needs, so the value it was called on may be gone when it resumes.
QCoro::Task<QJsonObject> post(QNetworkRequest request, QByteArray body) {
    const std::unique_ptr<QNetworkReply, DeleteLater> reply(RemoteControl::session().post(request, body));
    co_await reply.get();

    const QVariant status = reply->attribute(QNetworkRequest::HttpStatusCodeAttribute);
    if (!status.isValid())
        throw NetworkError(reply->error());
    if (status.toInt() != 200)
        throw RemoteControl::RCError(RemoteControl::RCError::badResponse, status.toInt());
    if (reply->error() != QNetworkReply::NoError)
        throw NetworkError(reply->error());
    const QJsonDocument answer = QJsonDocument::fromJson(reply->readAll());
    if (!answer.isObject())
        throw RemoteControl::RCError(RemoteControl::RCError::notJSON);
    co_return answer.object();
}

} // namespace

RemoteControl::RCError::RCError(Case which, int status)
    : m_case(which)
    , m_status(status)
    , m_what(which == badResponse ? "the engine answered with status " + std::to_string(status)
                                  : "the engine's answer is no JSON object") {}

QNetworkAccessManager &RemoteControl::session() {
    static QPointer<QNetworkAccessManager> manager;
    if (!manager) {
        manager = new QNetworkAccessManager(QCoreApplication::instance());
        manager->setProxy(QNetworkProxy::NoProxy);
        manager->setCookieJar(new NoCookies(manager));
    }
    return *manager;
}

QCoro::Task<QJsonObject> RemoteControl::call(QString command, QJsonObject params) const {
    QNetworkRequest request(QUrl(u"http://127.0.0.1:%1/"_s.arg(port) + command));
    request.setHeader(QNetworkRequest::ContentTypeHeader, "application/json"_ba);
    request.setRawHeader("Authorization", "Basic " + (user + u':' + pass).toUtf8().toBase64());
    // Redirects, cached answers and a second try with other credentials have no place on this connection.
    request.setAttribute(QNetworkRequest::RedirectPolicyAttribute, QNetworkRequest::ManualRedirectPolicy);
    request.setAttribute(QNetworkRequest::AuthenticationReuseAttribute, QNetworkRequest::Manual);
    request.setTransferTimeout(static_cast<int>(std::chrono::milliseconds(answerTimeout).count()));
    return post(std::move(request), QJsonDocument(params).toJson(QJsonDocument::Compact));
}

} // namespace quillmount
