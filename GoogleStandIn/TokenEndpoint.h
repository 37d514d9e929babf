// SPDX-License-Identifier: LicenseRef-Quillmount
#pragma once

#include "GoogleStandIn/AuthorizationCodes.h"
#include "GoogleStandIn/Call.h"

namespace quillmount::standin {

// https://oauth2.googleapis.com/token with the grants of a code (PKCE) and of a refresh token, the client named by a
// Basic header or in the form. Thread-safe.
class TokenEndpoint {
public:
    TokenEndpoint(Grants &grants, AuthorizationCodes &codes)
        : m_grants(grants)
        , m_codes(codes) {}

    // Always answers, in OAuth's form.
    void handle(Call &call);

private:
    void redeem(Call &call, const Parameters &form, const QString &clientId, const QString &clientSecret);
    void refresh(Call &call, const Parameters &form, const QString &clientId, const QString &clientSecret);

    Grants &m_grants;
    AuthorizationCodes &m_codes;
};

} // namespace quillmount::standin
