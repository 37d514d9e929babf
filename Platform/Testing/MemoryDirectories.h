// SPDX-License-Identifier: LicenseRef-Quillmount
#pragma once

#include "Platform/Directories.h"

#include <QTemporaryDir>

namespace quillmount {

// A home of its own, with real folders, that disappears with this object. Only `home` and `temporary` exist at first.
// Some names hold a space, as they do on macOS.
class MemoryDirectories final : public Directories {
public:
    MemoryDirectories();

    [[nodiscard]] QString applicationSupport() const override;
    [[nodiscard]] QString caches() const override;
    [[nodiscard]] QString library() const override;
    [[nodiscard]] QString home() const override;
    [[nodiscard]] QString temporary() const override;

    // The folder around all of them, for what a test puts beside the home. Without symbolic links.
    [[nodiscard]] QString root() const { return m_root; }

private:
    QTemporaryDir m_folder;
    QString m_root;
};

} // namespace quillmount
