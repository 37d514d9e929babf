// SPDX-License-Identifier: LicenseRef-Quillmount
#pragma once

#include <QString>

#include <exception>

namespace quillmount {

// Why a sign-in, or the use of the Google account, did not succeed.
class AuthError : public std::exception {
public:
    enum Case {
        notConfigured,   // this build has no Google client, or an endpoint that must not be used
        cancelled,       // given up by the person or by the program
        denied,          // Google came back with a refusal
        driveNotGranted, // consent was given, but not to the Drive
        timedOut,        // no answer from the browser
        exchangeFailed,  // Google did not give tokens for the code
    };

    explicit AuthError(Case which)
        : m_case(which) {}
    [[nodiscard]] Case which() const { return m_case; }
    // The sentence for the person.
    [[nodiscard]] QString description() const;
    // For the log.
    [[nodiscard]] const char *what() const noexcept override;

private:
    Case m_case;
};

} // namespace quillmount
