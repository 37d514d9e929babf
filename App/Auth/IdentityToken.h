// SPDX-License-Identifier: LicenseRef-Quillmount
#pragma once

#include <QString>

#include <optional>

namespace quillmount {

// Google's statement about who signed in, a JSON web token. Its signature is not looked at: it comes from Google over
// TLS, and nothing but a name to show is taken from it.
namespace IdentityToken {

// The e-mail address that it claims; absent when it cannot be read.
[[nodiscard]] std::optional<QString> email(const QString &token);

} // namespace IdentityToken
} // namespace quillmount
