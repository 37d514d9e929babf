// SPDX-License-Identifier: LicenseRef-Quillmount
#pragma once

#include "GoogleStandIn/DriveStore.h"

#include <QJsonObject>
#include <QList>
#include <QString>

#include <mutex>

namespace quillmount::standin {

// Thrown by the token calls: OAuth's own form of refusal.
struct OAuthError {
    int status = 400;
    QString error;
    QString description;
};

// An access token with its life.
struct AccessToken {
    QString token;
    qint64 expiresMs = 0;
};

// A text that nobody can guess, in an alphabet for addresses.
QString randomToken(const QString &prefix);

// Clients, their grants and the tokens given out, kept in a private file across starts.
class Grants {
public:
    static constexpr int usualLifetime = 3599;

    // Throws StartError when the file is damaged.
    explicit Grants(const QString &path);

    // Makes a client known, without a grant.
    void addClient(const QString &clientId, const QString &clientSecret);
    bool knows(const QString &clientId) const;
    // Throws OAuthError unless the client is known, with this secret.
    void checkClient(const QString &clientId, const QString &clientSecret) const;
    // A new grant of a client that is known. Without `refreshable` it ends with its access token, and the refresh
    // token is empty.
    AccessToken issue(const QString &clientId, const QString &scope, const QString &account, bool refreshable,
                      QString *refreshToken);
    // A grant for the client (made known with this secret), or the one that it has already; with a fresh access token
    // in the form {"access_token","token_type","refresh_token","expiry"}. `scope` is OAuth's list of scopes.
    QJsonObject grant(const QString &clientId, const QString &clientSecret, const QString &scope, int lifetimeSeconds,
                      bool reuse);
    // The refresh grant. Throws OAuthError.
    AccessToken refresh(const QString &clientId, const QString &clientSecret, const QString &refreshToken,
                        QString *scope, QString *account);
    // The viewer that a bearer token stands for; throws ApiError: 401, or 403 without access to Drive.
    Viewer authorize(const QByteArray &authorizationHeader);

    // Ends the grants of the client (all clients when empty): refreshing and every call are refused from now on.
    void revoke(const QString &clientId);
    // Ends the access tokens of the client (all when empty); refreshing goes on working.
    void expire(const QString &clientId);
    // Seconds that access tokens made by refreshing live.
    void setLifetime(int seconds);

private:
    struct Grant {
        QString clientId;
        QString refreshToken;
        QString scope;
        QString account; // its e-mail address
        bool revoked = false;
        QList<AccessToken> access;
    };

    void check(const QString &clientId, const QString &clientSecret) const;
    AccessToken newAccess(Grant &grant, int lifetimeSeconds);
    void save() const;

    QString m_path;
    mutable std::mutex m_mutex;
    QMap<QString, QString> m_clients;
    QList<Grant> m_grants;
    int m_lifetime = usualLifetime;
};

} // namespace quillmount::standin
