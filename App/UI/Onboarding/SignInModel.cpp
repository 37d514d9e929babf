// SPDX-License-Identifier: LicenseRef-Quillmount
#include "App/UI/Onboarding/SignInModel.h"

namespace quillmount {

using namespace Qt::StringLiterals;

SignInModel::SignInModel(AccountConnection &account, QObject *parent)
    : QObject(parent)
    , m_account(account) {
    connect(&account, &AccountConnection::stateChanged, this, [this] {
        Q_EMIT changed();
        if (m_account.state() == AccountConnection::State::done)
            Q_EMIT finished();
    });
}

QString SignInModel::text() const {
    switch (m_account.state()) {
    case AccountConnection::State::idle:
    case AccountConnection::State::failed:
    case AccountConnection::State::done: // of a sign-in before this one, as its window closes at the end
        return u"Quillmount opens Google's page in your browser. Agree there, and your drive is ready."_s;
    case AccountConnection::State::waitingForBrowser:
        return u"Waiting for you to agree on Google's page in your browser."_s;
    case AccountConnection::State::exchanging:
    case AccountConnection::State::connecting:
        return u"Connecting your drive."_s;
    }
    return {};
}

QString SignInModel::errorText() const {
    return m_account.errorText().isEmpty() ? m_account.noticeText() : m_account.errorText();
}

bool SignInModel::canCancel() const {
    return m_account.isRunning() && m_account.state() != AccountConnection::State::connecting;
}

} // namespace quillmount
