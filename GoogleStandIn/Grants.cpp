// SPDX-License-Identifier: LicenseRef-Quillmount
#include "Grants.h"

#include "GoogleStandIn/ApiError.h"
#include "GoogleStandIn/IdentityClaim.h"
#include "GoogleStandIn/TimeText.h"

#include <QFile>
#include <QJsonArray>
#include <QJsonDocument>
#include <QRandomGenerator>

using namespace Qt::StringLiterals;

namespace quillmount::standin {

QString randomToken(const QString &prefix) {
    QByteArray bytes(48, Qt::Uninitialized);
    QRandomGenerator::system()->fillRange(reinterpret_cast<quint32 *>(bytes.data()), bytes.size() / 4);
    return prefix + QString::fromLatin1(bytes.toBase64(QByteArray::Base64UrlEncoding | QByteArray::OmitTrailingEquals));
}

Grants::Grants(const QString &path)
    : m_path(path) {
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly))
        return;
    const QJsonDocument document = QJsonDocument::fromJson(file.readAll());
    if (!document.isObject())
        throw StartError(u"The file %1 is damaged."_s.arg(path));
    const QJsonObject clients = document["clients"_L1].toObject();
    for (auto it = clients.begin(); it != clients.end(); ++it)
        m_clients.insert(it.key(), it.value().toString());
    const QJsonArray grants = document["grants"_L1].toArray();
    for (const QJsonValue &value : grants) {
        Grant grant{.clientId = value["client"_L1].toString(),
                    .refreshToken = value["refresh"_L1].toString(),
                    .scope = value["scope"_L1].toString(),
                    .account = value["account"_L1].toString(QLatin1StringView(accountEmail)),
                    .revoked = value["revoked"_L1].toBool(),
                    .access = {}};
        const QJsonArray access = value["access"_L1].toArray();
        for (const QJsonValue &token : access) {
            grant.access.append({token["token"_L1].toString(), token["expires"_L1].toInteger()});
        }
        m_grants.append(grant);
    }
}

void Grants::save() const {
    QJsonObject clients;
    for (auto it = m_clients.begin(); it != m_clients.end(); ++it)
        clients.insert(it.key(), it.value());
    QJsonArray grants;
    for (const Grant &grant : m_grants) {
        QJsonArray access;
        for (const AccessToken &token : grant.access) {
            access.append(QJsonObject{{"token"_L1, token.token}, {"expires"_L1, token.expiresMs}});
        }
        grants.append(QJsonObject{{"client"_L1, grant.clientId},
                                  {"refresh"_L1, grant.refreshToken},
                                  {"scope"_L1, grant.scope},
                                  {"account"_L1, grant.account},
                                  {"revoked"_L1, grant.revoked},
                                  {"access"_L1, access}});
    }
    if (!writeAtomically(m_path, QJsonDocument({{"clients"_L1, clients}, {"grants"_L1, grants}}).toJson()))
        throw ApiError::internal(u"The local store is not writable"_s);
}

AccessToken Grants::newAccess(Grant &grant, int lifetimeSeconds) {
    const qint64 now = nowMs();
    grant.access.removeIf([now](const AccessToken &token) { return token.expiresMs <= now; });
    grant.access.append({randomToken(u"ya29."_s), now + lifetimeSeconds * 1000LL});
    return grant.access.last();
}

void Grants::addClient(const QString &clientId, const QString &clientSecret) {
    const std::lock_guard lock(m_mutex);
    m_clients.insert(clientId, clientSecret);
    save();
}

bool Grants::knows(const QString &clientId) const {
    const std::lock_guard lock(m_mutex);
    return m_clients.contains(clientId);
}

void Grants::checkClient(const QString &clientId, const QString &clientSecret) const {
    const std::lock_guard lock(m_mutex);
    check(clientId, clientSecret);
}

void Grants::check(const QString &clientId, const QString &clientSecret) const {
    if (!m_clients.contains(clientId)) {
        throw OAuthError{401, u"invalid_client"_s, u"The OAuth client was not found."_s};
    }
    if (clientSecret.isEmpty()) {
        throw OAuthError{400, u"invalid_request"_s, u"client_secret is missing."_s};
    }
    if (m_clients.value(clientId) != clientSecret) {
        throw OAuthError{401, u"invalid_client"_s, u"Unauthorized"_s};
    }
}

AccessToken Grants::issue(const QString &clientId, const QString &scope, const QString &account, bool refreshable,
                          QString *refreshToken) {
    const std::lock_guard lock(m_mutex);
    *refreshToken = refreshable ? randomToken(u"1//"_s) : QString();
    m_grants.append({.clientId = clientId,
                     .refreshToken = *refreshToken,
                     .scope = scope,
                     .account = account,
                     .revoked = false,
                     .access = {}});
    const AccessToken access = newAccess(m_grants.last(), m_lifetime);
    save();
    return access;
}

QJsonObject Grants::grant(const QString &clientId, const QString &clientSecret, const QString &scope,
                          int lifetimeSeconds, bool reuse) {
    const std::lock_guard lock(m_mutex);
    m_clients.insert(clientId, clientSecret);
    Grant *grant = nullptr;
    for (Grant &candidate : m_grants) {
        if (reuse && candidate.clientId == clientId && candidate.scope == scope && !candidate.revoked &&
            !candidate.refreshToken.isEmpty()) {
            grant = &candidate;
        }
    }
    if (!grant) {
        m_grants.append({.clientId = clientId,
                         .refreshToken = randomToken(u"1//"_s),
                         .scope = scope,
                         .account = QLatin1StringView(accountEmail),
                         .revoked = false,
                         .access = {}});
        grant = &m_grants.last();
    }
    const AccessToken access = newAccess(*grant, lifetimeSeconds);
    save();
    return {{"access_token"_L1, access.token},
            {"token_type"_L1, "Bearer"_L1},
            {"refresh_token"_L1, grant->refreshToken},
            {"expiry"_L1, formatTime(access.expiresMs)}};
}

AccessToken Grants::refresh(const QString &clientId, const QString &clientSecret, const QString &refreshToken,
                            QString *scope, QString *account) {
    const std::lock_guard lock(m_mutex);
    check(clientId, clientSecret);
    for (Grant &grant : m_grants) {
        if (grant.refreshToken == refreshToken && grant.clientId == clientId && !grant.revoked) {
            const AccessToken access = newAccess(grant, m_lifetime);
            *scope = grant.scope;
            *account = grant.account;
            save();
            return access;
        }
    }
    throw OAuthError{400, u"invalid_grant"_s, u"Token has been expired or revoked."_s};
}

Viewer Grants::authorize(const QByteArray &header) {
    const std::lock_guard lock(m_mutex);
    const QString token = header.startsWith("Bearer ") ? QString::fromLatin1(header.mid(7)) : QString();
    for (const Grant &grant : std::as_const(m_grants)) {
        for (const AccessToken &access : grant.access) {
            if (access.token == token && !grant.revoked && access.expiresMs > nowMs()) {
                const QStringList scopes = grant.scope.split(u' ');
                const bool everything = scopes.contains("https://www.googleapis.com/auth/drive"_L1);
                if (!everything && !scopes.contains("https://www.googleapis.com/auth/drive.file"_L1)) {
                    throw ApiError(403, u"insufficientPermissions"_s,
                                   u"Request had insufficient authentication scopes."_s);
                }
                return {.app = grant.clientId, .everything = everything};
            }
        }
    }
    throw ApiError::unauthorized();
}

void Grants::revoke(const QString &clientId) {
    const std::lock_guard lock(m_mutex);
    for (Grant &grant : m_grants)
        grant.revoked = grant.revoked || clientId.isEmpty() || grant.clientId == clientId;
    save();
}

void Grants::expire(const QString &clientId) {
    const std::lock_guard lock(m_mutex);
    for (Grant &grant : m_grants) {
        if (clientId.isEmpty() || grant.clientId == clientId)
            grant.access.clear();
    }
    save();
}

void Grants::setLifetime(int seconds) {
    const std::lock_guard lock(m_mutex);
    m_lifetime = seconds;
}

} // namespace quillmount::standin
