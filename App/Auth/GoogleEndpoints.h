// SPDX-License-Identifier: LicenseRef-Quillmount
#pragma once

#include <QUrl>

#include <optional>

namespace quillmount {

// Where Google is asked.
struct GoogleEndpoints {
    QUrl authorization; // opened in the browser
    QUrl token;         // asked by the application

    // Google's own, unless the information dictionary names others ("QMGoogleAuthorizationEndpoint",
    // "QMGoogleTokenEndpoint"). Those have to be https, or http on a literal loopback address, so that neither code nor
    // tokens can be read on the way; absent when one of them is not.
    [[nodiscard]] static std::optional<GoogleEndpoints> current();
};

} // namespace quillmount
