// SPDX-License-Identifier: LicenseRef-Quillmount
#pragma once

#include "Tests/GoogleStandIn/Call.h"
#include "Tests/GoogleStandIn/Grants.h"

namespace quillmount::standin {

/// https://oauth2.googleapis.com/token with the refresh grant, the client named by a Basic header or in the form.
class TokenEndpoint {
public:
    explicit TokenEndpoint(Grants &grants)
        : m_grants(grants) {}

    /// Always answers, in OAuth's form.
    void handle(Call &call);

private:
    void refresh(Call &call, const Parameters &form, const QString &clientId, const QString &clientSecret);

    Grants &m_grants;
};

} // namespace quillmount::standin
