// SPDX-License-Identifier: LicenseRef-Quillmount
#pragma once

#include <QString>

namespace quillmount {

// Keeps a second start for the same home from disturbing the first.
class SingleInstance {
public:
    virtual ~SingleInstance() = default;

    enum class Outcome {
        acquired,    // this process is the one instance from now until it ends, however it ends
        heldByOther, // another process is
        failed,      // nobody can tell; `error` says why
    };

    [[nodiscard]] virtual Outcome acquire() = 0;
    // After `failed`: what could not be done, for the user.
    [[nodiscard]] virtual QString error() const = 0;
};

} // namespace quillmount
