// SPDX-License-Identifier: LicenseRef-Quillmount
#include "App/Account/AccountConnection.h"

#include "App/Auth/GoogleAuth.h"
#include "App/Engine/DriveEngine.h"
#include "App/Support/Paths.h"
#include "App/Support/Preferences.h"
#include "App/Support/UserError.h"
#include "Platform/Platform.h"

#include <QLoggingCategory>

namespace quillmount {

using namespace Qt::StringLiterals;

namespace {

Q_LOGGING_CATEGORY(log, "quillmount.account")

// The drive belongs to another account than the one that the user signed in to.
class OtherAccount final : public UserError {
public:
    explicit OtherAccount(const QString &connected)
        : m_connected(connected) {}

    [[nodiscard]] QString description() const override {
        return u"This drive belongs to %1. To use another account, disconnect that one in Settings first."_s.arg(
            m_connected);
    }
    [[nodiscard]] const char *what() const noexcept override { return "the drive belongs to another account"; }

private:
    QString m_connected;
};

// Throws OtherAccount. An account of unknown address counts as the same one.
void checkAccount(const std::optional<QString> &email) {
    if (!Paths::hasEngineConfig() || !email)
        return;
    const auto connected = Preferences::accountEmail();
    if (connected && connected->compare(*email, Qt::CaseInsensitive) != 0)
        throw OtherAccount(*connected);
}

} // namespace

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
    if (m_state == State::connecting)
        return;
    m_task.cancel();
    const quint64 attempt = ++m_attempt;
    if (m_auth) {
        m_auth->disconnect(this);
        m_auth->deleteLater();
    }
    m_auth = new GoogleAuth(this);
    if (m_engine.isMountPointTaken()) {
        qCInfo(log, "not connected: the place of the drive is taken");
        fail(u"Your drive's place is %1, but something of your own is there. Move or rename it, then try again."_s.arg(
            m_engine.mountPoint()));
        return;
    }
    connect(m_auth, &GoogleAuth::codeReceived, this, [this] { setState(State::exchanging); });
    connect(m_auth, &GoogleAuth::browserFailed, this, &AccountConnection::tellThatNoBrowserOpened);
    setState(State::waitingForBrowser);
    // Whoever was told may have given it up, or started another.
    if (attempt == m_attempt && isRunning())
        m_task.start([this, attempt](std::stop_token stop) { return run(attempt, std::move(stop)); });
}

void AccountConnection::cancel() {
    if (m_state == State::failed)
        setState(State::idle); // its sentence has been read
    if (!isRunning() || m_state == State::connecting)
        return;
    ++m_attempt;
    m_task.cancel();
    m_auth->disconnect(this);
    setState(State::idle);
}

void AccountConnection::reopenBrowser() {
    if (!canReopenBrowser())
        return;
    if (!m_noticeText.isEmpty())
        setState(m_state);
    m_auth->reopenBrowser();
}

void AccountConnection::tellThatNoBrowserOpened() {
    Platform::current().pasteboard->setText(QString::fromLatin1(m_auth->authURL()->toEncoded()));
    m_noticeText =
        u"Your browser didn't open. The address of Google's page is on the clipboard: paste it into a browser to go on."_s;
    Q_EMIT stateChanged();
}

QCoro::Task<> AccountConnection::run(quint64 attempt, std::stop_token stop) {
    const QPointer self(this);
    QString sentence;
    try {
        co_await signInAndConnect(attempt, std::move(stop));
    } catch (const UserError &error) {
        const auto *authError = dynamic_cast<const AuthError *>(&error);
        if (authError && authError->which() == AuthError::cancelled) {
            if (self && self->m_attempt == attempt)
                self->setState(State::idle);
            co_return;
        }
        qCInfo(log, "not connected: %s", error.what());
        sentence = error.description();
    } catch (const std::exception &error) {
        qCInfo(log, "not connected: %s", error.what());
        sentence = u"Couldn't reach Google. Check your internet connection and try again."_s;
    }
    if (!self || self->m_attempt != attempt)
        co_return;
    if (sentence.isEmpty())
        self->setState(State::done);
    else
        self->fail(sentence);
}

QCoro::Task<> AccountConnection::signInAndConnect(quint64 attempt, std::stop_token stop) {
    const QPointer self(this);
    GoogleAuth::Result result = co_await m_auth->signIn(stop);
    // The user may have given up in the very moment in which the tokens came.
    if (!self || self->m_attempt != attempt || stop.stop_requested())
        throw AuthError(AuthError::cancelled);
    checkAccount(result.email);
    self->setState(State::connecting);
    if (!self)
        throw AuthError(AuthError::cancelled);
    co_await self->m_engine.connect(std::move(result.token), std::move(result.email));
}

void AccountConnection::fail(const QString &sentence) {
    m_errorText = sentence;
    m_noticeText.clear();
    m_state = State::failed;
    Q_EMIT stateChanged();
}

void AccountConnection::setState(State state) {
    m_errorText.clear();
    m_noticeText.clear();
    m_state = state;
    Q_EMIT stateChanged();
}

} // namespace quillmount
