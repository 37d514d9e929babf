// SPDX-License-Identifier: LicenseRef-Quillmount
#pragma once

#include "Platform/Workspace.h"

#include <QList>

namespace quillmount {

// A desktop that only remembers what it was asked to open.
class MemoryWorkspace final : public Workspace {
public:
    void openURL(const QUrl &url, std::function<void()> failed) override {
        m_opened.append(url);
        m_failed.append(std::move(failed));
    }

    [[nodiscard]] const QList<QUrl> &opened() const { return m_opened; }
    // Tells that what was opened as number `index` did not open.
    void fail(qsizetype index) const { m_failed[index](); }

private:
    QList<QUrl> m_opened;
    QList<std::function<void()>> m_failed;
};

} // namespace quillmount
