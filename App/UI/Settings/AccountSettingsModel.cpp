// SPDX-License-Identifier: LicenseRef-Quillmount
#include "App/UI/Settings/AccountSettingsModel.h"

#include "App/UI/Settings/AccountText.h"

#include <utility>

namespace quillmount {

using namespace Qt::StringLiterals;

AccountSettingsModel::AccountSettingsModel(QObject *parent)
    : QObject(parent) {
    connect(&m_confirmation, &ConfirmationModel::confirmed, this, &AccountSettingsModel::confirm);
}

QString AccountSettingsModel::email() const {
    return AccountText::email(m_account);
}

QString AccountSettingsModel::storage() const {
    return AccountText::storage(m_account);
}

QString AccountSettingsModel::footer() const {
    return AccountText::footer(m_account);
}

void AccountSettingsModel::update(AccountSnapshot account) {
    account.pendingOnDisk = m_account.pendingOnDisk;
    const bool hasOtherFigures = account.pendingInEngine != m_account.pendingInEngine;
    if (std::exchange(m_account, account) != account)
        Q_EMIT changed();
    if (!m_confirmation.isAsking())
        return;
    ask();
    // What the engine has finished is no longer in the cache either.
    if (hasOtherFigures && m_awaiting == Awaiting::nothing)
        Q_EMIT countRequested();
}

void AccountSettingsModel::setPendingOnDisk(qint64 files) {
    m_account.pendingOnDisk = files;
    const Awaiting awaiting = std::exchange(m_awaiting, Awaiting::nothing);
    if (awaiting == Awaiting::toCarryOut && m_confirmation.isAsking() &&
        (m_confirmation.isWarning() || m_account.pending() == 0))
        carryOut();
    else if (awaiting == Awaiting::toAsk || m_confirmation.isAsking())
        ask();
}

void AccountSettingsModel::dismiss() {
    m_awaiting = Awaiting::nothing;
    m_confirmation.cancel();
}

void AccountSettingsModel::prepare(Question question) {
    if (m_confirmation.isOpen())
        return;
    m_question = question;
    m_awaiting = Awaiting::toAsk;
    Q_EMIT countRequested();
}

void AccountSettingsModel::confirm() {
    m_awaiting = Awaiting::toCarryOut;
    Q_EMIT countRequested();
}

ConfirmationContent AccountSettingsModel::content() const {
    return m_question == Question::disconnect ? AccountText::disconnect(m_account) : AccountText::uninstall(m_account);
}

void AccountSettingsModel::ask() {
    m_confirmation.ask(content());
}

void AccountSettingsModel::carryOut() {
    if (m_question == Question::disconnect) {
        m_confirmation.work(u"Disconnecting\u2026"_s);
        Q_EMIT disconnectRequested();
    } else {
        m_confirmation.work(u"Uninstalling\u2026"_s);
        Q_EMIT uninstallRequested();
    }
}

void AccountSettingsModel::stop(const QString &reason) {
    m_confirmation.stop(m_question == Question::disconnect ? u"Your account is still connected"_s
                                                           : u"Quillmount was not uninstalled"_s,
                        reason);
}

} // namespace quillmount
