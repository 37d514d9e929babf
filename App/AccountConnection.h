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
// starting again gives the former one up.
class AccountConnection : public QObject {
    Q_OBJECT

public:
    enum class State {
        idle,              // not started, or cancelled
        waitingForBrowser, // the person is asked by Google
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
    // The sentence for the person; empty unless the last attempt failed.
    [[nodiscard]] const QString &errorText() const { return m_errorText; }

    void start();
    // Gives the attempt up, at once. Harmless when none runs.
    void cancel();
    // Sends the browser to the page of the last attempt again. Harmless before there is one.
    void reopenBrowser() const;

Q_SIGNALS:
    void stateChanged();

private:
    [[nodiscard]] QCoro::Task<> run(quint64 attempt, std::stop_token stop);
    [[nodiscard]] QCoro::Task<> signInAndConnect(quint64 attempt, std::stop_token stop);
    void setState(State state);

    DriveEngine &m_engine;
    GoogleAuth *m_auth = nullptr; // of the current or the last attempt
    TaskHandle m_task;
    State m_state = State::idle;
    QString m_errorText;
    quint64 m_attempt = 0; // a former attempt that is still ending has no say
};

} // namespace quillmount
