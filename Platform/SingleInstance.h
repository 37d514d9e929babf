// SPDX-License-Identifier: LicenseRef-Quillmount
#pragma once

namespace quillmount {

// Keeps a second start for the same home from disturbing the first.
class SingleInstance {
public:
    virtual ~SingleInstance() = default;

    enum class Outcome {
        acquired,    // this process is the one instance from now until it ends, however it ends
        heldByOther, // another process is
    };

    // Throws PlatformError when nobody can tell.
    [[nodiscard]] virtual Outcome acquire() = 0;
};

} // namespace quillmount
