// SPDX-License-Identifier: LicenseRef-Quillmount
#pragma once

namespace quillmount {

// Keeps a second start for the same home from disturbing the first.
class SingleInstance {
public:
    virtual ~SingleInstance() = default;

    // True when this process is the one instance from now until it ends, however it ends.
    [[nodiscard]] virtual bool acquire() = 0;
};

} // namespace quillmount
