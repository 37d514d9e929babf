// SPDX-License-Identifier: LicenseRef-Quillmount
#include "App/Engine/RemoteControl.h"

#include "App/Network/NetworkError.h"

#include <QCoreApplication>
#include <QCoroNetworkReply>
#include <QJsonDocument>
#include <QNetworkAccessManager>
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
    request.setAttribute(QNetworkRequest::CookieLoadControlAttribute, QNetworkRequest::Manual);
    request.setAttribute(QNetworkRequest::CookieSaveControlAttribute, QNetworkRequest::Manual);
    request.setTransferTimeout(static_cast<int>(std::chrono::milliseconds(answerTimeout).count()));
    return post(std::move(request), QJsonDocument(params).toJson(QJsonDocument::Compact));
}

QCoro::Task<std::optional<QJsonObject>> RemoteControl::answer(QString command, QJsonObject params) const {
    // A copy: this value may be gone when the answer comes.
    return [](RemoteControl rc, QString path, QJsonObject body) -> QCoro::Task<std::optional<QJsonObject>> {
        try {
            co_return co_await rc.call(path, body);
        } catch (const RCError &) {
        } catch (const NetworkError &) {
        }
        co_return std::nullopt;
    }(*this, std::move(command), std::move(params));
}

QCoro::Task<bool> RemoteControl::answers() const {
    return [](RemoteControl rc) -> QCoro::Task<bool> {
        const auto stats = co_await rc.answer(u"vfs/stats"_s, {});
        co_return stats.has_value();
    }(*this);
}

} // namespace quillmount
