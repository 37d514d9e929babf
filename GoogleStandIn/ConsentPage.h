// SPDX-License-Identifier: LicenseRef-Quillmount
#pragma once

#include "GoogleStandIn/AuthorizationRequest.h"

namespace quillmount::standin {

// The pages that the user sees in their browser: whole documents, without scripts and without anything from elsewhere.
namespace ConsentPage {

// Asks for the permissions of the request. The answer is posted to `decisionPath` with "ticket", "decision" ("agree"
// or "refuse") and, when the box is ticked, "drive".
QByteArray question(const AuthorizationRequest &request, const QString &ticket, const QString &decisionPath,
                    const QString &account);
// Says that nothing can be asked, and why.
QByteArray blocked(const OAuthError &error);

} // namespace ConsentPage
} // namespace quillmount::standin
