// SPDX-License-Identifier: LicenseRef-Quillmount
#pragma once

#include "Platform/Sidebar.h"

#include <QStringList>

namespace quillmount {

class MemorySidebar final : public Sidebar {
public:
    void add(const QString &path, const QString & /*name*/) override {
        if (!m_paths.contains(path))
            m_paths.append(path);
    }
    void remove(const QString &path) override { m_paths.removeAll(path); }

    [[nodiscard]] const QStringList &paths() const { return m_paths; }

private:
    QStringList m_paths;
};

} // namespace quillmount
