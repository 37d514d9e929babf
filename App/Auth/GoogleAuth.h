// SPDX-License-Identifier: LicenseRef-Quillmount
#pragma once

#include "App/Auth/RedirectRequest.h"
#include "App/Support/Credentials.h"
#include "Platform/Clock.h"
#include "Platform/OneShot.h"

#include <QCoroTask>
#include <QObject>
#include <QUrl>

#include <optional>
#include <stop_token>

namespace quillmount {

class RedirectListener;

// Signs the user in to Google: the system's browser asks them, and comes back to a listener on the loopback interface
// with a one-time code, which is exchanged for tokens (OAuth 2 with PKCE). An object serves one sign-in at a time; all
// of it runs on the main thread.
class GoogleAuth : public QObject {
    Q_OBJECT

public:
    using Credentials = quillmount::Credentials;

    struct Result {
        QString token;                // the engine's token, one line of JSON
        std::optional<QString> email; // of the account
        std::optional<QString> idToken;
    };

    explicit GoogleAuth(QObject *parent = nullptr);
    // A sign-in that runs ends as cancelled.
    ~GoogleAuth() override;
    Q_DISABLE_COPY_MOVE(GoogleAuth)

    // Runs one sign-in from the browser to the tokens. One that this object already runs ends as cancelled. Requesting
    // `stop` cancels it at any point. Throws AuthError, ListenerError and NetworkError.
    [[nodiscard]] QCoro::Task<Result> signIn(std::stop_token stop);

    // The address that the browser was last sent to; absent before the first sign-in.
    [[nodiscard]] const std::optional<QUrl> &authURL() const { return m_authURL; }
    // Sends the browser there again. Only while the code is waited for: the address leads back to a port that is closed
    // after that.
    void reopenBrowser();

    // Opens the port for the redirect that carries `expectedState` and returns it. Throws ListenerError.
    [[nodiscard]] quint16 startListener(const QString &expectedState);
    // The code that arrives at the listener, also one that has arrived already. Throws AuthError: what `finish` was
    // given, or timedOut after 300 seconds.
    [[nodiscard]] QCoro::Task<QString> waitForCode();
    // Ends the wait with a code or an error, from the event loop. Only the first one counts.
    void finish(CodeResult result);

    // A new identity token for the account with this refresh token; absent when there is none, for whatever reason.
    [[nodiscard]] static QCoro::Task<std::optional<QString>> idToken(QString refresh);

    // The permission for files that the application made, Google's full name of it.
    [[nodiscard]] static QString driveScope() { return QStringLiteral("https://www.googleapis.com/auth/drive.file"); }

Q_SIGNALS:
    // The browser has come back with a code, which is exchanged now.
    void codeReceived();
    // No browser has opened the page. The sign-in goes on waiting: the user may get to the address in another way.
    void browserFailed();

private:
    [[nodiscard]] static QUrl authorizationURL(const QUrl &endpoint, const QString &clientID, const QString &redirect,
                                               const QString &verifier, const QString &state);
    void openBrowser();
    void post(quint64 attempt, CodeResult result);
    void deliver(quint64 attempt, const CodeResult &result);
    void endAttempt(AuthError::Case why);
    void closeListener(bool serveConnections);
    [[nodiscard]] static QCoro::Task<Result> exchange(QString code, QString verifier, QString redirect,
                                                      Credentials credentials, QUrl endpoint, std::stop_token stop);

    RedirectListener *m_listener = nullptr;
    std::optional<QUrl> m_authURL;
    std::optional<OneShot<CodeResult>> m_continuation;
    std::optional<CodeResult> m_earlyResult;
    Clock::TimerId m_timeout = 0;
    quint64 m_attempt = 0; // which sign-in a result belongs to
    std::stop_source m_stop{std::nostopstate};
};

} // namespace quillmount
