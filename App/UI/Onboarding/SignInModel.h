// SPDX-License-Identifier: LicenseRef-Quillmount
#pragma once

#include "App/Account/AccountConnection.h"

#include <QtQml/qqmlregistration.h>

namespace quillmount {

// What the sign-in window says and offers. An attempt is given up when the window is closed.
class SignInModel : public QObject {
    Q_OBJECT
    QML_ELEMENT
    QML_UNCREATABLE("The application makes it.")
    Q_PROPERTY(QString title READ title CONSTANT FINAL)
    Q_PROPERTY(QString text READ text NOTIFY changed FINAL)
    Q_PROPERTY(QString errorText READ errorText NOTIFY changed FINAL)
    Q_PROPERTY(bool hasError READ hasError NOTIFY changed FINAL)
    Q_PROPERTY(QString startTitle READ startTitle CONSTANT FINAL)
    Q_PROPERTY(QString reopenTitle READ reopenTitle CONSTANT FINAL)
    Q_PROPERTY(QString cancelTitle READ cancelTitle CONSTANT FINAL)
    Q_PROPERTY(bool canStart READ canStart NOTIFY changed FINAL)
    Q_PROPERTY(bool isWorking READ isWorking NOTIFY changed FINAL)
    Q_PROPERTY(bool canCancel READ canCancel NOTIFY changed FINAL)
    Q_PROPERTY(bool canReopenBrowser READ canReopenBrowser NOTIFY changed FINAL)

public:
    // `account` outlives this object.
    explicit SignInModel(AccountConnection &account, QObject *parent = nullptr);

    [[nodiscard]] QString title() const { return QStringLiteral("Connect your Google account"); }
    [[nodiscard]] QString text() const;
    // Why the last attempt failed, or what the user has to know meanwhile; empty when there is nothing.
    [[nodiscard]] QString errorText() const;
    [[nodiscard]] bool hasError() const { return !errorText().isEmpty(); }
    [[nodiscard]] static QString startTitle() { return QStringLiteral("Continue"); }
    [[nodiscard]] static QString reopenTitle() { return QStringLiteral("Open Again"); }
    [[nodiscard]] static QString cancelTitle() { return QStringLiteral("Cancel"); }
    [[nodiscard]] bool canStart() const { return !isWorking(); }
    // The user has begun, and it is not over.
    [[nodiscard]] bool isWorking() const { return m_account.isRunning(); }
    [[nodiscard]] bool canCancel() const;
    [[nodiscard]] bool canReopenBrowser() const { return m_account.canReopenBrowser(); }

    Q_INVOKABLE void start() { m_account.start(); }
    Q_INVOKABLE void cancel() { m_account.cancel(); }
    Q_INVOKABLE void reopenBrowser() { m_account.reopenBrowser(); }
    Q_INVOKABLE void close() { Q_EMIT closeRequested(); }

Q_SIGNALS:
    void changed();
    void closeRequested();
    // The drive has the account.
    void finished();

private:
    AccountConnection &m_account;
};

} // namespace quillmount
