// SPDX-License-Identifier: LicenseRef-Quillmount
#pragma once

#include "App/Support/UserError.h"

#include <QCoroTask>

#include <optional>

namespace quillmount {

// The configuration file that the engine reads its account from. The engine itself writes it again each time it
// refreshes the token, so what was read earlier is never written back.
namespace EngineConfig {

class ConfigError : public UserError {
public:
    enum Case {
        writeFailed, // the file could not be written; the former one, if any, is untouched
    };

    explicit ConfigError(Case which)
        : m_case(which) {}
    [[nodiscard]] Case which() const { return m_case; }
    [[nodiscard]] QString description() const override;
    [[nodiscard]] const char *what() const noexcept override { return "the engine configuration was not written"; }

private:
    Case m_case;
};

// Replaces the file, for readers at once, with one that holds this token object (one line of JSON). Mode 600.
// Throws ConfigError.
[[nodiscard]] QCoro::Task<> write(QString token);

// Deletes the file. A failure, also of there being none, is ignored.
void remove();

// The refresh token in the file; absent when anything on the way to it is missing or of another type.
[[nodiscard]] std::optional<QString> refreshToken();

} // namespace EngineConfig
} // namespace quillmount
