// SPDX-License-Identifier: LicenseRef-Quillmount
#include "Platform/Linux/LinuxUpdater.h"

#include "Platform/Linux/PlatformLog.h"
#include "Platform/Linux/UpdateFeed.h"

#include <QHostAddress>
#include <QNetworkAccessManager>
#include <QNetworkProxyFactory>
#include <QNetworkReply>

namespace quillmount {

using namespace std::chrono_literals;
using namespace Qt::StringLiterals;

namespace {

constexpr auto timeout = 30s;
constexpr qsizetype maxFeed = 512 * 1024; // bytes
constexpr int maxRedirects = 3;

// The user's proxy, but none on the way to the machine itself.
class ProxyToOthers final : public QNetworkProxyFactory {
public:
    QList<QNetworkProxy> queryProxy(const QNetworkProxyQuery &query) override {
        if (QHostAddress(query.peerHostName()).isLoopback())
            return {QNetworkProxy(QNetworkProxy::NoProxy)};
        return proxyForQuery(query);
    }
};

QUrl feedOf(const Bundle &bundle) {
    const QString text = bundle.infoString(u"SUFeedURL"_s).value_or(QString());
    const QUrl url(text, QUrl::StrictMode);
    if (UpdateFeed::isPrivate(url) && url.userInfo().isEmpty())
        return url;
    if (!text.isEmpty())
        qCWarning(platformLog) << "the feed of versions is not asked: its address is not private";
    return {};
}

QNetworkRequest requestFor(const QUrl &url) {
    QNetworkRequest request(url);
    // A packed answer would escape the limit on its size.
    request.setRawHeader("Accept-Encoding", "identity");
    request.setRawHeader("Connection", "close");
    request.setRawHeader("User-Agent", "Quillmount");
    request.setAttribute(QNetworkRequest::RedirectPolicyAttribute, QNetworkRequest::ManualRedirectPolicy);
    request.setAttribute(QNetworkRequest::CacheLoadControlAttribute, QNetworkRequest::AlwaysNetwork);
    request.setAttribute(QNetworkRequest::AuthenticationReuseAttribute, QNetworkRequest::Manual);
    request.setAttribute(QNetworkRequest::CookieLoadControlAttribute, QNetworkRequest::Manual);
    request.setAttribute(QNetworkRequest::CookieSaveControlAttribute, QNetworkRequest::Manual);
    return request;
}

} // namespace

LinuxUpdater::LinuxUpdater(Clock &clock, const Bundle &bundle)
    : m_clock(clock)
    , m_feed(feedOf(bundle))
    , m_ownVersion(bundle.infoString(u"CFBundleShortVersionString"_s).value_or(u"1.0"_s)) {}

LinuxUpdater::~LinuxUpdater() {
    if (m_reply)
        m_clock.cancel(m_timeout);
    dropReply();
}

void LinuxUpdater::check() {
    if (!hasFeed() || m_reply)
        return;
    if (!m_network) {
        m_network = new QNetworkAccessManager(this);
        m_network->setProxyFactory(new ProxyToOthers);
    }
    m_redirects = 0;
    m_timeout = m_clock.schedule(timeout, [this] { fail(u"no whole answer in time"_s); });
    get(m_feed);
    setState({Status::checking, {}, {}});
}

void LinuxUpdater::get(const QUrl &url) {
    dropReply();
    m_body.clear();
    m_reply = m_network->get(requestFor(url));
    connect(m_reply, &QNetworkReply::readyRead, this, &LinuxUpdater::receive);
    connect(m_reply, &QNetworkReply::finished, this, &LinuxUpdater::finished);
}

void LinuxUpdater::receive() {
    m_body += m_reply->read(maxFeed + 1 - m_body.size());
    if (m_body.size() > maxFeed)
        fail(u"more than any feed has"_s);
}

void LinuxUpdater::finished() {
    const QUrl target = m_reply->attribute(QNetworkRequest::RedirectionTargetAttribute).toUrl();
    if (!target.isEmpty())
        return follow(m_reply->url().resolved(target));
    const int status = m_reply->attribute(QNetworkRequest::HttpStatusCodeAttribute).toInt();
    if (m_reply->error() != QNetworkReply::NoError || status != 200)
        return fail(u"error %1, status %2"_s.arg(m_reply->error()).arg(status));
    receive();
    if (!m_reply)
        return;
    const State verdict = UpdateFeed::verdict(m_body, m_feed, m_ownVersion);
    if (verdict.status == Status::failed)
        return fail(u"it is no feed, or has no page that may be opened"_s);
    end(verdict);
}

void LinuxUpdater::follow(const QUrl &url) {
    if (url.scheme() != "https"_L1 || !UpdateFeed::isPrivate(url) || ++m_redirects > maxRedirects)
        return fail(u"it is elsewhere, and not where it may be followed to"_s);
    get(url);
}

void LinuxUpdater::fail(const QString &why) {
    qCWarning(platformLog) << "the feed of versions:" << why;
    end({Status::failed, {}, {}});
}

void LinuxUpdater::end(const State &state) {
    m_clock.cancel(m_timeout);
    dropReply();
    setState(state);
}

void LinuxUpdater::dropReply() {
    QNetworkReply *const reply = std::exchange(m_reply, nullptr);
    if (!reply)
        return;
    reply->disconnect(this);
    reply->abort();
    reply->deleteLater();
    m_body.clear();
}

} // namespace quillmount
