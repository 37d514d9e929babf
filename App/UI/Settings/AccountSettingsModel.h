// SPDX-License-Identifier: LicenseRef-Quillmount
#pragma once

#include "App/UI/Settings/AccountSnapshot.h"
#include "App/UI/Settings/ConfirmationModel.h"

namespace quillmount {

// The account tab. A question is put when the files that wait in the cache have been counted, and what is confirmed is
// counted once more: nobody agrees to a loss that was not shown.
class AccountSettingsModel : public QObject {
    Q_OBJECT
    QML_ELEMENT
    QML_UNCREATABLE("made by the settings")
    Q_PROPERTY(bool isSignedIn READ isSignedIn NOTIFY changed FINAL)
    Q_PROPERTY(QString email READ email NOTIFY changed FINAL)
    Q_PROPERTY(QString folder READ folder CONSTANT FINAL)
    Q_PROPERTY(QString storage READ storage NOTIFY changed FINAL)
    Q_PROPERTY(QString footer READ footer NOTIFY changed FINAL)
    Q_PROPERTY(quillmount::ConfirmationModel *confirmation READ confirmation CONSTANT FINAL)

public:
    explicit AccountSettingsModel(QObject *parent = nullptr);

    // Shows the account as it is now; the count of files on disk is kept.
    void update(AccountSnapshot account);
    // The answer to `countRequested`.
    void setPendingOnDisk(qint64 files);
    // What was confirmed has been done, or it was not, for this reason.
    void finish() { m_confirmation.close(); }
    void stop(const QString &reason);
    // Nobody looks at the question any more.
    void dismiss();

    [[nodiscard]] bool isSignedIn() const { return m_account.isSignedIn; }
    [[nodiscard]] QString email() const;
    [[nodiscard]] QString folder() const { return QStringLiteral(u"My Drive \u203A Quillmount"); }
    [[nodiscard]] QString storage() const;
    [[nodiscard]] QString footer() const;
    [[nodiscard]] ConfirmationModel *confirmation() { return &m_confirmation; }
    [[nodiscard]] const ConfirmationModel *confirmation() const { return &m_confirmation; }

    Q_INVOKABLE void connectAccount() { Q_EMIT onboardingRequested(); }
    Q_INVOKABLE void askToDisconnect() { prepare(Question::disconnect); }
    Q_INVOKABLE void askToUninstall() { prepare(Question::uninstall); }

Q_SIGNALS:
    void changed();
    void onboardingRequested();
    // The files that wait in the cache are to be counted.
    void countRequested();
    // The user has confirmed it.
    void disconnectRequested();
    void uninstallRequested();

private:
    enum class Question { disconnect, uninstall };
    // What the next count is waited for.
    enum class Awaiting { nothing, toAsk, toCarryOut };

    void prepare(Question question);
    void confirm();
    void ask();
    void carryOut();
    [[nodiscard]] ConfirmationContent content() const;

    AccountSnapshot m_account;
    Question m_question = Question::disconnect;
    Awaiting m_awaiting = Awaiting::nothing;
    ConfirmationModel m_confirmation;
};

} // namespace quillmount
