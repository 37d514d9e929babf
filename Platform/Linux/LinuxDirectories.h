// SPDX-License-Identifier: LicenseRef-Quillmount
#pragma once

#include "Platform/Directories.h"

namespace quillmount {

// The XDG base directories. A variable that is unset, empty or relative counts as absent.
class LinuxDirectories final : public Directories {
public:
    // The data home.
    [[nodiscard]] QString applicationSupport() const override;
    // The cache home.
    [[nodiscard]] QString caches() const override;
    // The state home.
    [[nodiscard]] QString library() const override;
    [[nodiscard]] QString home() const override;
    [[nodiscard]] QString temporary() const override;

    // The config home, where settings and autostart entries lie.
    [[nodiscard]] QString configuration() const;
};

} // namespace quillmount
