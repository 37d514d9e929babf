// SPDX-License-Identifier: LicenseRef-Quillmount
#pragma once

#include <QString>

namespace quillmount {

// The application's own identity at Google (an OAuth client).
struct Credentials {
    QString clientID;
    QString clientSecret;

    [[nodiscard]] bool isConfigured() const { return !clientID.isEmpty() && !clientSecret.isEmpty(); }

    // Read from the information dictionary; what is missing there is empty here.
    [[nodiscard]] static Credentials current();
};

} // namespace quillmount
