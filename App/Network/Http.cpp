// SPDX-License-Identifier: LicenseRef-Quillmount
#include "App/Network/Http.h"

#include "App/Network/NetworkError.h"
#include "App/Network/OneTimeBody.h"
#include "Platform/Platform.h"

#include <QCoreApplication>
#include <QCoroNetworkReply>
#include <QHostAddress>
#include <QNetworkAccessManager>
#include <QNetworkProxyFactory>
#include <QNetworkReply>
#include <QPointer>

#include <memory>

namespace quillmount {

using namespace Qt::StringLiterals;

namespace {

// The user's proxy, but none on the way to the machine itself.
class ProxyToOthers final : public QNetworkProxyFactory {
public:
    QList<QNetworkProxy> queryProxy(const QNetworkProxyQuery &query) override {
        if (QHostAddress(query.peerHostName()).isLoopback())
            return {QNetworkProxy(QNetworkProxy::NoProxy)};
        return proxyForQuery(query);
    }
};

// One a request, because it would use a connection again that the other side is just closing; a request that is lost on
// one cannot be repeated. It goes with its reply, and neither before the event loop turns: the reply is often still on
// the stack.
struct Session {
    Session()
        : manager(new QNetworkAccessManager(QCoreApplication::instance())) {
        manager->setProxyFactory(new ProxyToOthers);
    }
    ~Session() { manager->deleteLater(); }
    Q_DISABLE_COPY_MOVE(Session)

    QNetworkAccessManager *const manager;
};

QNetworkRequest networkRequest(const Http::Post &post) {
    QNetworkRequest request(post.url);
    request.setHeader(QNetworkRequest::ContentTypeHeader, post.contentType);
    request.setHeader(QNetworkRequest::ContentLengthHeader, post.body.size());
    if (!post.authorization.isEmpty())
        request.setRawHeader("Authorization", post.authorization);
    // A packed answer would escape the limit on its size.
    request.setRawHeader("Accept-Encoding", "identity");
    request.setRawHeader("Connection", "close");
    request.setAttribute(QNetworkRequest::Http2AllowedAttribute, false);
    // QNetworkAccessManager posts again when the connection ends unanswered; it cannot when it does not hold the body.
    request.setAttribute(QNetworkRequest::DoNotBufferUploadDataAttribute, true);
    request.setAttribute(QNetworkRequest::RedirectPolicyAttribute, QNetworkRequest::ManualRedirectPolicy);
    request.setAttribute(QNetworkRequest::AuthenticationReuseAttribute, QNetworkRequest::Manual);
    request.setAttribute(QNetworkRequest::CookieLoadControlAttribute, QNetworkRequest::Manual);
    request.setAttribute(QNetworkRequest::CookieSaveControlAttribute, QNetworkRequest::Manual);
    return request;
}

// What is known about a request that runs; shared with the callbacks that outlive neither it nor each other.
struct Exchange {
    qint64 maxAnswer = 0;
    QByteArray body;
    bool isTooLarge = false;
    bool isLate = false;
};

// From the event loop, because an aborted reply resumes its coroutine at once, and the one who stops a request is often
// a destructor.
void abortLater(QNetworkReply *reply) {
    QMetaObject::invokeMethod(
        reply, [reply] { reply->abort(); }, Qt::QueuedConnection);
}

// An answer of no stated length ends with its connection, which QNetworkAccessManager sometimes takes for a lost
// request that it fails to repeat.
bool isWhole(const QNetworkReply &reply) {
    return reply.error() == QNetworkReply::NoError ||
           (reply.error() == QNetworkReply::ContentReSendError && !reply.hasRawHeader("Content-Length") &&
            !reply.hasRawHeader("Transfer-Encoding"));
}

void collect(QNetworkReply *reply, const std::shared_ptr<Exchange> &exchange) {
    QObject::connect(reply, &QNetworkReply::readyRead, reply, [reply, exchange] {
        if (exchange->isTooLarge)
            return;
        exchange->body += reply->readAll();
        if (exchange->body.size() <= exchange->maxAnswer)
            return;
        exchange->isTooLarge = true;
        exchange->body.clear();
        abortLater(reply);
    });
}

} // namespace

bool Http::isPrivate(const QUrl &url) {
    return url.isValid() && !url.host().isEmpty() &&
           (url.scheme() == "https"_L1 || (url.scheme() == "http"_L1 && QHostAddress(url.host()).isLoopback()));
}

QCoro::Task<Http::Answer> Http::post(Post request, std::stop_token stop) {
    if (stop.stop_requested())
        throw NetworkError(QNetworkReply::OperationCanceledError);
    const QNetworkRequest head = networkRequest(request);
    auto body = std::make_unique<OneTimeBody>(std::move(request.body));
    const Session session;
    QNetworkReply *const reply = session.manager->post(head, body.get());
    body.release()->setParent(reply);

    const auto exchange = std::make_shared<Exchange>();
    exchange->maxAnswer = request.maxAnswer;
    collect(reply, exchange);
    Clock &clock = *Platform::current().clock;
    const Clock::TimerId timer = clock.schedule(request.timeout, [exchange, late = QPointer(reply)] {
        if (!late)
            return;
        exchange->isLate = true;
        abortLater(late);
    });
    {
        const std::stop_callback onStop(stop, [running = reply] { abortLater(running); });
        co_await reply;
    }
    clock.cancel(timer);

    if (stop.stop_requested())
        throw NetworkError(QNetworkReply::OperationCanceledError);
    const int status = reply->attribute(QNetworkRequest::HttpStatusCodeAttribute).toInt();
    if (exchange->isTooLarge)
        co_return Answer{status, {}};
    if (exchange->isLate)
        throw NetworkError(QNetworkReply::TimeoutError);
    // Everything but 200 is known by its status alone, whatever else went wrong with it.
    if (status == 0 || (status == 200 && !isWhole(*reply)))
        throw NetworkError(reply->error());
    exchange->body += reply->readAll();
    co_return Answer{status, exchange->body};
}

} // namespace quillmount
