// SPDX-License-Identifier: LicenseRef-Quillmount
#pragma once

#include "Platform/Workspace.h"

#include <QList>

namespace quillmount {

// A desktop that only remembers what it was asked to open.
class MemoryWorkspace final : public Workspace {
public:
    [[nodiscard]] bool openURL(const QUrl &url) override {
        m_opened.append(url);
        return m_opens;
    }

    [[nodiscard]] const QList<QUrl> &opened() const { return m_opened; }
    // Whether there is a program to open anything with, from now on.
    void setOpens(bool opens) { m_opens = opens; }

private:
    QList<QUrl> m_opened;
    bool m_opens = true;
};

} // namespace quillmount
