// SPDX-License-Identifier: LicenseRef-Quillmount
#include "App/AccountConnection.h"

#include "App/Auth/GoogleAuth.h"
#include "App/Engine/DriveEngine.h"
#include "App/Engine/EngineConfig.h"
#include "Platform/Platform.h"

#include <QLoggingCategory>

namespace quillmount {

using namespace Qt::StringLiterals;

namespace {
Q_LOGGING_CATEGORY(log, "quillmount.account")
}

AccountConnection::AccountConnection(DriveEngine &engine, QObject *parent)
    : QObject(parent)
    , m_engine(engine) {}

AccountConnection::~AccountConnection() {
    m_task.cancel();
}

bool AccountConnection::isRunning() const {
    return m_state == State::waitingForBrowser || m_state == State::exchanging || m_state == State::connecting;
}

void AccountConnection::start() {
    m_task.cancel();
    const quint64 attempt = ++m_attempt;
    if (m_auth)
        m_auth->deleteLater();
    m_auth = new GoogleAuth(this);
    connect(m_auth, &GoogleAuth::codeReceived, this, [this] { setState(State::exchanging); });
    m_errorText.clear();
    setState(State::waitingForBrowser);
    // Whoever was told may have given it up, or started anew.
    if (attempt == m_attempt && isRunning())
        m_task.start([this, attempt](std::stop_token stop) { return run(attempt, std::move(stop)); });
}

void AccountConnection::cancel() {
    if (!isRunning())
        return;
    ++m_attempt;
    m_task.cancel();
    m_auth->disconnect(this);
    setState(State::idle);
}

void AccountConnection::reopenBrowser() const {
    if (!m_auth || !m_auth->authURL())
        return;
    if (!Platform::current().workspace->openURL(*m_auth->authURL()))
        qCWarning(log, "the browser could not be opened");
}

QCoro::Task<> AccountConnection::run(quint64 attempt, std::stop_token stop) {
    const QPointer self(this);
    QString sentence;
    try {
        co_await signInAndConnect(attempt, std::move(stop));
    } catch (const AuthError &error) {
        if (error.which() == AuthError::cancelled) {
            if (self && self->m_attempt == attempt)
                self->setState(State::idle);
            co_return;
        }
        qCInfo(log, "not connected: %s", error.what());
        sentence = error.description();
    } catch (const EngineConfig::ConfigError &error) {
        qCWarning(log, "not connected: %s", error.what());
        sentence = error.description();
    } catch (const std::exception &error) {
        qCInfo(log, "not connected: %s", error.what());
        sentence = u"Couldn't reach Google. Check your internet connection and try again."_s;
    }
    if (!self || self->m_attempt != attempt)
        co_return;
    self->m_errorText = sentence;
    self->setState(sentence.isEmpty() ? State::done : State::failed);
}

QCoro::Task<> AccountConnection::signInAndConnect(quint64 attempt, std::stop_token stop) {
    const QPointer self(this);
    GoogleAuth::Result result = co_await m_auth->signIn(stop);
    // The person may have given up in the very moment in which the tokens came.
    if (!self || self->m_attempt != attempt || stop.stop_requested())
        throw AuthError(AuthError::cancelled);
    self->setState(State::connecting);
    if (!self || self->m_attempt != attempt)
        throw AuthError(AuthError::cancelled);
    co_await self->m_engine.connect(std::move(result.token), std::move(result.email));
}

void AccountConnection::setState(State state) {
    m_state = state;
    Q_EMIT stateChanged();
}

} // namespace quillmount
