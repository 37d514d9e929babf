// SPDX-License-Identifier: LicenseRef-Quillmount
#pragma once

#include "GoogleStandIn/Grants.h"
#include "GoogleStandIn/Parameters.h"

#include <QByteArray>
#include <QStringList>
#include <QUrl>

namespace quillmount::standin {

// What an application asks the user for, as it came with the browser.
struct AuthorizationRequest {
    static constexpr auto driveScope = "https://www.googleapis.com/auth/drive.file";
    static constexpr auto emailScope = "https://www.googleapis.com/auth/userinfo.email";

    QString clientId;
    QString redirectUri;
    QStringList scopes; // In Google's full names.
    QString challenge;  // Of PKCE, method S256.
    QString state;
    bool offline = false; // A refresh token is asked for …
    bool consent = false; // … and the user is asked even when they have agreed before.

    // Reads the parameters of the page. Throws OAuthError for what Google shows the user instead of its page: it
    // sends nobody to an address that it does not trust.
    static AuthorizationRequest read(const Parameters &parameters, const Grants &grants);

    bool asksForDrive() const { return scopes.contains(QLatin1StringView(driveScope)); }
    // Where the browser goes, with these parameters and the state.
    QByteArray redirection(const QList<QPair<QString, QString>> &parameters) const;
};

} // namespace quillmount::standin
