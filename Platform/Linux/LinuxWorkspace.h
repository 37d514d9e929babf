// SPDX-License-Identifier: LicenseRef-Quillmount
#pragma once

#include "Platform/Workspace.h"

namespace quillmount {

// The desktop as xdg-utils know it. Some programs return at once, others only when the browser is closed: nobody waits
// for them, nor ends them, and how they end counts in their first ten seconds alone.
class LinuxWorkspace final : public Workspace {
public:
    void openURL(const QUrl &url, std::function<void()> failed) override;
    void openFolder(const QString &path, std::function<void()> failed) override;
    void reveal(const QStringList &paths) override;
    bool moveToTrash(const QString &path) override;
};

} // namespace quillmount
