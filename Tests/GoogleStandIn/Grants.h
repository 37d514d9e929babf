// SPDX-License-Identifier: LicenseRef-Quillmount
#pragma once

#include "Tests/GoogleStandIn/DriveStore.h"

#include <QJsonObject>
#include <QList>
#include <QString>

#include <mutex>

namespace quillmount::standin {

/// Thrown by the token calls: OAuth's own form of refusal.
struct OAuthError {
    int status = 400;
    QString error;
    QString description;
};

/// An access token with its life.
struct AccessToken {
    QString token;
    qint64 expiresMs = 0;
};

/// Clients, their grants and the tokens given out, kept in a private file across starts.
class Grants {
public:
    static constexpr int usualLifetime = 3599;

    /// Throws StartError when the file is damaged.
    explicit Grants(const QString &path);

    /// A grant for the client (made known with this secret), or the one that it has already; with a fresh access token
    /// in the form {"access_token","token_type","refresh_token","expiry"}. `scope` is OAuth's list of scopes.
    QJsonObject grant(const QString &clientId, const QString &clientSecret, const QString &scope, int lifetimeSeconds,
                      bool reuse);
    /// The refresh grant. Throws OAuthError.
    AccessToken refresh(const QString &clientId, const QString &clientSecret, const QString &refreshToken,
                        QString *scope);
    /// The viewer that a bearer token stands for; throws ApiError (401).
    Viewer authorize(const QByteArray &authorizationHeader);

    /// Ends the grants of the client (all clients when empty): refreshing and every call are refused from now on.
    void revoke(const QString &clientId);
    /// Ends the access tokens of the client (all when empty); refreshing goes on working.
    void expire(const QString &clientId);
    /// Seconds that access tokens made by refreshing live.
    void setLifetime(int seconds);

private:
    struct Grant {
        QString clientId;
        QString refreshToken;
        QString scope;
        bool revoked = false;
        QList<AccessToken> access;
    };

    AccessToken newAccess(Grant &grant, int lifetimeSeconds);
    void save() const;

    QString m_path;
    std::mutex m_mutex;
    QMap<QString, QString> m_clients;
    QList<Grant> m_grants;
    int m_lifetime = usualLifetime;
};

} // namespace quillmount::standin
