// SPDX-License-Identifier: LicenseRef-Quillmount
#pragma once

#include "App/Concurrency/Task.h"

#include <QObject>
#include <QPointer>
#include <QString>

namespace quillmount {

class DriveEngine;
class GoogleAuth;

// Connects a Google account: signs in with the browser, and hands what comes of it to the drive. One attempt at a time;
// starting again gives the former one up. Once the drive takes the account there is nothing to give up any more: the
// attempt then ends in `done` or `failed`, whatever is called meanwhile.
class AccountConnection : public QObject {
    Q_OBJECT

public:
    enum class State {
        idle,              // not started, or cancelled
        waitingForBrowser, // the user is asked by Google
        exchanging,        // Google is asked for tokens
        connecting,        // the drive takes the account
        failed,            // `errorText` says why
        done,              // the drive has the account, and starts on its own
    };
    Q_ENUM(State)

    // `engine` outlives this object.
    explicit AccountConnection(DriveEngine &engine, QObject *parent = nullptr);
    // An attempt that runs is given up.
    ~AccountConnection() override;
    Q_DISABLE_COPY_MOVE(AccountConnection)

    [[nodiscard]] State state() const { return m_state; }
    [[nodiscard]] bool isRunning() const;
    // The sentence for the user; empty unless the last attempt failed.
    [[nodiscard]] const QString &errorText() const { return m_errorText; }
    // While the browser is waited for: the sentence for the user when it did not open; empty otherwise.
    [[nodiscard]] const QString &noticeText() const { return m_noticeText; }

    // Begins an attempt. It fails at once, before a browser is opened, while something of the user's own stands where
    // the drive would be mounted; and when the account turns out to be another than the one that the drive has: files
    // of that one may still be waiting for their upload.
    void start();
    // Gives the attempt up, at once; one that has failed is forgotten. Harmless when none runs.
    void cancel();
    // Whether `reopenBrowser` sends the browser to Google's page again.
    [[nodiscard]] bool canReopenBrowser() const { return m_state == State::waitingForBrowser; }
    void reopenBrowser();

Q_SIGNALS:
    // Also sent when one of the sentences has changed.
    void stateChanged();

private:
    [[nodiscard]] QCoro::Task<> run(quint64 attempt, std::stop_token stop);
    [[nodiscard]] QCoro::Task<> signInAndConnect(quint64 attempt, std::stop_token stop);
    void tellThatNoBrowserOpened();
    void fail(const QString &sentence);
    void setState(State state);

    DriveEngine &m_engine;
    GoogleAuth *m_auth = nullptr; // of the current or the last attempt
    TaskHandle m_task;
    State m_state = State::idle;
    QString m_errorText;
    QString m_noticeText;
    quint64 m_attempt = 0; // a former attempt that is still ending has no say
};

} // namespace quillmount
