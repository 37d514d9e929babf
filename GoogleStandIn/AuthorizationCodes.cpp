// SPDX-License-Identifier: LicenseRef-Quillmount
#include "AuthorizationCodes.h"

#include "GoogleStandIn/TimeText.h"

#include <QCryptographicHash>

#include <algorithm>

using namespace Qt::StringLiterals;

namespace quillmount::standin {

namespace {
constexpr qsizetype maxQuestions = 100; // pages that were opened and never answered
}

QString AuthorizationCodes::ask(const AuthorizationRequest &request) {
    const std::lock_guard lock(m_mutex);
    if (m_questions.size() == maxQuestions)
        m_questions.removeFirst();
    m_questions.append({randomToken({}), request});
    return m_questions.last().first;
}

std::optional<AuthorizationRequest> AuthorizationCodes::answer(const QString &ticket) {
    const std::lock_guard lock(m_mutex);
    for (qsizetype i = 0; i < m_questions.size(); ++i) {
        if (m_questions[i].first == ticket)
            return m_questions.takeAt(i).second;
    }
    return std::nullopt;
}

QString AuthorizationCodes::issue(const AuthorizationRequest &request, bool withDrive, const QString &account) {
    const std::lock_guard lock(m_mutex);
    QStringList scopes = request.scopes;
    if (!withDrive)
        scopes.removeAll(QLatin1StringView(AuthorizationRequest::driveScope));
    // The slash is Google's: whoever forgets to encode or decode a code finds out here.
    m_codes.append({.code = randomToken(u"4/0A"_s),
                    .agreement = {.clientId = request.clientId,
                                  .scopes = scopes,
                                  .account = account,
                                  .refreshable = request.offline && request.consent},
                    .redirectUri = request.redirectUri,
                    .challenge = request.challenge,
                    .expiresMs = nowMs() + m_lifetime * 1000LL});
    return m_codes.last().code;
}

AuthorizationCodes::Agreement AuthorizationCodes::redeem(const QString &code, const QString &clientId,
                                                         const QString &redirectUri, const QString &verifier) {
    const std::lock_guard lock(m_mutex);
    const qint64 now = nowMs();
    m_codes.removeIf([now](const Code &candidate) { return candidate.expiresMs <= now; });
    const auto it =
        std::find_if(m_codes.begin(), m_codes.end(), [&](const Code &candidate) { return candidate.code == code; });
    if (it == m_codes.end()) {
        throw OAuthError{400, u"invalid_grant"_s, u"Malformed auth code."_s};
    }
    const Code found = *it;
    m_codes.erase(it);
    if (found.agreement.clientId != clientId) {
        throw OAuthError{400, u"invalid_grant"_s, u"Bad Request"_s};
    }
    if (found.redirectUri != redirectUri) {
        throw OAuthError{400, u"redirect_uri_mismatch"_s, u"Bad Request"_s};
    }
    if (verifier.isEmpty()) {
        throw OAuthError{400, u"invalid_grant"_s, u"Missing code verifier."_s};
    }
    const QByteArray digest = QCryptographicHash::hash(verifier.toUtf8(), QCryptographicHash::Sha256)
                                  .toBase64(QByteArray::Base64UrlEncoding | QByteArray::OmitTrailingEquals);
    if (QString::fromLatin1(digest) != found.challenge) {
        throw OAuthError{400, u"invalid_grant"_s, u"Invalid code verifier."_s};
    }
    return found.agreement;
}

void AuthorizationCodes::setLifetime(int seconds) {
    const std::lock_guard lock(m_mutex);
    m_lifetime = seconds;
}

} // namespace quillmount::standin
