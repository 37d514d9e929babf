// SPDX-License-Identifier: LicenseRef-Quillmount
#pragma once

#include <QString>
#include <QStringList>

namespace quillmount::standin {

// The account that agrees to everything unless another one is set. There is one Drive for all of them.
inline constexpr auto accountEmail = "user@example.com";

// An identity token (a JWT) about that account for the client, as far as the scopes allow; empty without "openid". Its
// signature is random: Google's key is not to be had, and a client that would check it must not accept this one.
QString identityToken(const QString &clientId, const QStringList &scopes, const QString &account);

} // namespace quillmount::standin
