// SPDX-License-Identifier: LicenseRef-Quillmount
#pragma once

#include "GoogleStandIn/CertificateAuthority.h"
#include "GoogleStandIn/DriveApi.h"
#include "GoogleStandIn/Grants.h"
#include "GoogleStandIn/Listener.h"
#include "GoogleStandIn/Manners.h"
#include "GoogleStandIn/RequestService.h"
#include "GoogleStandIn/TokenEndpoint.h"
#include "GoogleStandIn/UploadApi.h"

namespace quillmount::standin {

// The network as a client sees it: an HTTPS proxy behind which Google's hosts answer.
class ProxyServer {
public:
    // How the network is.
    enum class Network {
        up,
        refused,   // The proxy's port refuses connections.
        silent,    // Connections are taken and nothing ever comes.
        noSuchHost // The proxy answers each CONNECT with 502 "no such host".
    };

    // Throws StartError.
    ProxyServer(DriveStore &store, Grants &grants, TokenEndpoint &token, Faults &faults, RequestLog &log,
                const CertificateAuthority &authority);
    ~ProxyServer();

    quint16 port() const { return m_listener.port(); }
    void setNetwork(Network network);
    DriveApi &drive() { return m_drive; }
    Manners &manners() { return m_manners; }

private:
    void serve(int descriptor);
    void serveTunnel(int descriptor, const QString &host);
    void dispatch(Call &call, const QString &host);
    void dispatchDrive(Call &call);

    Grants &m_grants;
    Faults &m_faults;
    RequestLog &m_log;
    const CertificateAuthority &m_authority;
    Manners m_manners;
    DriveApi m_drive;
    UploadApi m_upload;
    TokenEndpoint &m_token;
    RequestService m_service;
    std::atomic<bool> m_noSuchHost = false;
    Listener m_listener; // Last: its threads use everything above.
};

} // namespace quillmount::standin
