// SPDX-License-Identifier: LicenseRef-Quillmount
#pragma once

#include "App/Support/UserError.h"

namespace quillmount {

// Why a sign-in, or the use of the Google account, did not succeed.
class AuthError : public UserError {
public:
    enum Case {
        notConfigured,   // this build has no Google client, or an endpoint that must not be used
        cancelled,       // given up by the user or by the program
        denied,          // Google came back with a refusal
        driveNotGranted, // consent was given, but not to the Drive
        timedOut,        // no answer from the browser
        exchangeFailed,  // Google did not give tokens for the code
    };

    explicit AuthError(Case which)
        : m_case(which) {}
    [[nodiscard]] Case which() const { return m_case; }
    [[nodiscard]] QString description() const override;
    [[nodiscard]] const char *what() const noexcept override;

private:
    Case m_case;
};

} // namespace quillmount
