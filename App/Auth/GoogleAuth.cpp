// SPDX-License-Identifier: LicenseRef-Quillmount
#include "App/Auth/GoogleAuth.h"

#include "App/Auth/GoogleEndpoints.h"
#include "App/Auth/RedirectListener.h"
#include "App/Auth/TokenAnswer.h"
#include "App/Auth/TokenEndpoint.h"
#include "App/Support/Credentials.h"
#include "App/Support/Secrets.h"
#include "Platform/Platform.h"

#include <QCryptographicHash>
#include <QLoggingCategory>
#include <QPointer>

#include <utility>

namespace quillmount {

using namespace Qt::StringLiterals;

namespace {

Q_LOGGING_CATEGORY(log, "quillmount.auth")

constexpr auto browserTimeout = std::chrono::seconds(300);

QString challengeOf(const QString &verifier) {
    const QByteArray hash = QCryptographicHash::hash(verifier.toUtf8(), QCryptographicHash::Sha256);
    return QString::fromLatin1(hash.toBase64(QByteArray::Base64UrlEncoding | QByteArray::OmitTrailingEquals));
}

// After one of these the browser shows a page; what else it asks is answered, too.
bool cameFromBrowser(const CodeResult &result) {
    return !std::holds_alternative<AuthError::Case>(result) || std::get<AuthError::Case>(result) == AuthError::denied;
}

} // namespace

GoogleAuth::GoogleAuth(QObject *parent)
    : QObject(parent) {}

GoogleAuth::~GoogleAuth() {
    endAttempt(AuthError::cancelled);
}

QCoro::Task<GoogleAuth::Result> GoogleAuth::signIn(std::stop_token stop) {
    const Credentials credentials = Credentials::current();
    const auto endpoints = GoogleEndpoints::current();
    if (!credentials.isConfigured() || !endpoints)
        throw AuthError(AuthError::notConfigured);
    if (stop.stop_requested())
        throw AuthError(AuthError::cancelled);

    const QPointer self(this);
    const QString verifier = Secrets::random(48);
    const QString state = Secrets::random(16);
    const QString redirect = u"http://127.0.0.1:%1"_s.arg(startListener(state));
    // The attempt can also be ended by the next one, or with this object.
    m_stop = std::stop_source();
    const std::stop_token attemptStop = m_stop.get_token();
    const std::stop_callback onStop(stop, [attempt = m_stop]() mutable { attempt.request_stop(); });

    m_authURL = authorizationURL(endpoints->authorization, credentials.clientID, redirect, verifier, state);
    openBrowser();

    QString code;
    {
        const std::stop_callback onCancel(attemptStop, [self] {
            if (self)
                self->finish(AuthError::cancelled);
        });
        code = co_await waitForCode();
    }
    if (self)
        Q_EMIT self->codeReceived();
    Result result = co_await exchange(code, verifier, redirect, credentials, endpoints->token, attemptStop);
    co_return result;
}

void GoogleAuth::openBrowser() {
    Platform::current().workspace->openURL(*m_authURL, [self = QPointer(this), attempt = m_attempt] {
        if (!self || self->m_attempt != attempt || !self->m_listener)
            return;
        qCWarning(log, "the browser could not be opened");
        Q_EMIT self->browserFailed();
    });
}

void GoogleAuth::reopenBrowser() {
    if (m_authURL && m_continuation)
        openBrowser();
}

quint16 GoogleAuth::startListener(const QString &expectedState) {
    endAttempt(AuthError::cancelled);
    const quint64 attempt = ++m_attempt;
    // It is called for as long as a browser holds a connection, when the sign-in, or this object, may be history.
    const auto handle = [self = QPointer(this), attempt, expectedState](const QByteArray &request) {
        const RedirectRequest::Reading reading = RedirectRequest::read(request, expectedState);
        if (self && reading.outcome)
            self->post(attempt, *reading.outcome);
        return reading.answer.response();
    };
    auto listener = std::make_unique<RedirectListener>(handle);
    const quint16 port = listener->listen();
    m_listener = listener.release();
    return port;
}

QCoro::Task<QString> GoogleAuth::waitForCode() {
    OneShot<CodeResult> arrival;
    if (const auto early = std::exchange(m_earlyResult, std::nullopt)) {
        closeListener(cameFromBrowser(*early));
        arrival.set(*early);
    } else {
        m_continuation = arrival;
        m_timeout = Platform::current().clock->schedule(browserTimeout, [self = QPointer(this), attempt = m_attempt] {
            if (self)
                self->post(attempt, AuthError::timedOut);
        });
    }
    const CodeResult result = co_await arrival;
    // This object may be gone now.
    if (const auto *why = std::get_if<AuthError::Case>(&result))
        throw AuthError(*why);
    co_return std::get<QString>(result);
}

void GoogleAuth::finish(CodeResult result) {
    post(m_attempt, std::move(result));
}

void GoogleAuth::post(quint64 attempt, CodeResult result) {
    QMetaObject::invokeMethod(
        this, [this, attempt, outcome = std::move(result)] { deliver(attempt, outcome); }, Qt::QueuedConnection);
}

void GoogleAuth::deliver(quint64 attempt, const CodeResult &result) {
    if (attempt != m_attempt)
        return;
    if (auto waiter = std::exchange(m_continuation, std::nullopt)) {
        closeListener(cameFromBrowser(result));
        waiter->set(result);
        // This object may be gone now.
    } else if (m_listener && !m_earlyResult) {
        m_earlyResult = result;
    }
}

void GoogleAuth::endAttempt(AuthError::Case why) {
    m_stop.request_stop();
    m_earlyResult.reset();
    closeListener(false);
    if (auto waiter = std::exchange(m_continuation, std::nullopt))
        waiter->setLater(why);
}

void GoogleAuth::closeListener(bool serveConnections) {
    if (!m_listener)
        return;
    using Connections = RedirectListener::Connections;
    std::exchange(m_listener, nullptr)->retire(serveConnections ? Connections::serve : Connections::drop);
    Platform::current().clock->cancel(std::exchange(m_timeout, 0));
}

QUrl GoogleAuth::authorizationURL(const QUrl &endpoint, const QString &clientID, const QString &redirect,
                                  const QString &verifier, const QString &state) {
    const std::pair<QString, QString> items[] = {
        {u"client_id"_s, clientID},
        {u"redirect_uri"_s, redirect},
        {u"response_type"_s, u"code"_s},
        {u"scope"_s, u"openid email "_s + driveScope()},
        {u"code_challenge"_s, challengeOf(verifier)},
        {u"code_challenge_method"_s, u"S256"_s},
        {u"access_type"_s, u"offline"_s},
        {u"prompt"_s, u"consent"_s},
        {u"state"_s, state},
    };
    QStringList query;
    for (const auto &[name, value] : items)
        query.append(name + u'=' + QString::fromLatin1(QUrl::toPercentEncoding(value)));
    QUrl url = endpoint;
    url.setQuery(query.join(u'&'), QUrl::StrictMode);
    return url;
}

namespace {

TokenEndpoint::Fields codeFields(const QString &code, const QString &verifier, const QString &redirect,
                                 const GoogleAuth::Credentials &credentials) {
    return {
        {u"code"_s, code},
        {u"client_id"_s, credentials.clientID},
        {u"client_secret"_s, credentials.clientSecret},
        {u"redirect_uri"_s, redirect},
        {u"grant_type"_s, u"authorization_code"_s},
        {u"code_verifier"_s, verifier},
    };
}

TokenEndpoint::Fields refreshFields(const QString &refresh, const GoogleAuth::Credentials &credentials) {
    return {
        {u"client_id"_s, credentials.clientID},
        {u"client_secret"_s, credentials.clientSecret},
        {u"refresh_token"_s, refresh},
        {u"grant_type"_s, u"refresh_token"_s},
    };
}

} // namespace

QCoro::Task<GoogleAuth::Result> GoogleAuth::exchange(QString code, QString verifier, QString redirect,
                                                     Credentials credentials, QUrl endpoint, std::stop_token stop) {
    TokenEndpoint::Fields fields = codeFields(code, verifier, redirect, credentials);
    const Http::Answer answer = co_await TokenEndpoint::post(endpoint, std::move(fields), stop);
    if (answer.status != 200)
        throw AuthError(AuthError::exchangeFailed);
    co_return TokenAnswer::result(answer.body, Platform::current().clock->now());
}

QCoro::Task<std::optional<QString>> GoogleAuth::idToken(QString refresh) {
    const auto endpoints = GoogleEndpoints::current();
    if (!endpoints)
        co_return std::nullopt;
    try {
        TokenEndpoint::Fields fields = refreshFields(refresh, Credentials::current());
        const Http::Answer answer = co_await TokenEndpoint::post(endpoints->token, std::move(fields), {});
        if (answer.status == 200)
            co_return TokenAnswer::idToken(answer.body);
    } catch (const std::exception &error) {
        qCInfo(log, "no identity token: %s", error.what());
    }
    co_return std::nullopt;
}

} // namespace quillmount
