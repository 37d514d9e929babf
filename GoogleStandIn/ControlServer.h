// SPDX-License-Identifier: LicenseRef-Quillmount
#pragma once

#include "GoogleStandIn/AccountsServer.h"
#include "GoogleStandIn/ProxyServer.h"

#include <QJsonValue>

namespace quillmount::standin {

// The tests' way in: a plain HTTP port on the loopback interface, every request with the bearer token of this start.
//
// - GET/POST /faults, DELETE /faults[/ID]: see Fault::fromJson for what a fault can be.
// - POST /network {"state": "up" | "refused" | "silent" | "noSuchHost"}
// - POST /manners: how long calls take and how many are welcome, see Manners::set; {} ends that
// - GET/POST /quota {"limit": bytes, 0 for none}
// - POST /grants {"clientId","clientSecret"[,"scope","lifetime"]} gives token JSON; POST /grants/revoke and
//   /grants/expire {"clientId": "" for all}
// - POST /settings {"tokenLifetime" and "codeLifetime" (seconds),"account","rootVisible",
//   "automatic": "agree" | "refuse" | "untick" | "" (the user answers the page)}
// - GET /requests[?from=N], DELETE /requests, GET /statistics
// - POST /files {"action": "write" | "folder" | "trash" | "remove" | "rename", "path", "content" (base64), "to",
//   "app"}: another writer's change of a file of the drive; GET /files?path=P
class ControlServer {
public:
    // Throws StartError.
    ControlServer(DriveStore &store, Grants &grants, AuthorizationCodes &codes, Faults &faults, RequestLog &log,
                  ProxyServer &proxy, AccountsServer &accounts);

    quint16 port() const { return m_listener.port(); }
    const QString &token() const { return m_token; }

private:
    void serve(int descriptor);
    QJsonValue dispatch(const HttpRequest &request, const QJsonObject &body);
    QJsonValue faults(const HttpRequest &request, const QJsonObject &body);
    QJsonValue grants(const HttpRequest &request, const QJsonObject &body);
    QJsonValue network(const QJsonObject &body);
    QJsonValue settings(const QJsonObject &body);
    QJsonValue files(const HttpRequest &request, const QJsonObject &body);
    QJsonValue writeFile(const Viewer &viewer, const QString &path, const QByteArray &content);
    QString idOf(const Viewer &viewer, const QString &path);

    DriveStore &m_store;
    Grants &m_grants;
    AuthorizationCodes &m_codes;
    Faults &m_faults;
    RequestLog &m_log;
    ProxyServer &m_proxy;
    AccountsServer &m_accounts;
    QString m_token;
    Listener m_listener; // Last: its threads use everything above.
};

} // namespace quillmount::standin
