// SPDX-License-Identifier: LicenseRef-Quillmount
#pragma once

#include "GoogleStandIn/AuthorizationRequest.h"

namespace quillmount::standin {

// What users are being asked, and the codes for what they have agreed to. Nothing of it outlives the program, and a
// code not even its minute. Thread-safe.
class AuthorizationCodes {
public:
    static constexpr int usualLifetime = 60; // Seconds.

    // What a code stands for.
    struct Agreement {
        QString clientId;
        QStringList scopes;
        QString account; // Who has agreed: an e-mail address.
        bool refreshable = false;
    };

    // Notes a request that the user is shown; the ticket that their answer comes with.
    QString ask(const AuthorizationRequest &request);
    // The request of a ticket, which is used up; nothing for one that was never given out.
    std::optional<AuthorizationRequest> answer(const QString &ticket);

    // A code for what was asked, with or without the Drive, of that account.
    QString issue(const AuthorizationRequest &request, bool withDrive, const QString &account);
    // What the code stands for. Whoever presents a code has used it up, also when it is refused. Throws OAuthError.
    Agreement redeem(const QString &code, const QString &clientId, const QString &redirectUri, const QString &verifier);

    // Seconds that codes live which are made from now on.
    void setLifetime(int seconds);

private:
    struct Code {
        QString code;
        Agreement agreement;
        QString redirectUri;
        QString challenge;
        qint64 expiresMs = 0;
    };

    std::mutex m_mutex;
    QList<QPair<QString, AuthorizationRequest>> m_questions;
    QList<Code> m_codes;
    int m_lifetime = usualLifetime;
};

} // namespace quillmount::standin
