// SPDX-License-Identifier: LicenseRef-Quillmount
#pragma once

#include <QString>

namespace quillmount {

namespace GoogleAuth {

// The application's own identity at Google.
struct Credentials {
    QString clientID;
    QString clientSecret;

    [[nodiscard]] bool isConfigured() const { return !clientID.isEmpty() && !clientSecret.isEmpty(); }

    // Read from the information dictionary; what is missing there is empty here.
    [[nodiscard]] static Credentials current();
};

} // namespace GoogleAuth
} // namespace quillmount
