// SPDX-License-Identifier: LicenseRef-Quillmount
#pragma once

#include "Platform/Workspace.h"

#include <QList>
#include <QStringList>

namespace quillmount {

// A desktop that only remembers what it was asked to open.
class MemoryWorkspace final : public Workspace {
public:
    void openURL(const QUrl &url, std::function<void()> failed) override {
        m_opened.append(url);
        m_failed.append(std::move(failed));
    }

    void openFolder(const QString &path, std::function<void()> failed) override {
        openURL(QUrl::fromLocalFile(path), std::move(failed));
    }
    void reveal(const QStringList &paths) override { m_revealed += paths; }
    bool moveToTrash(const QString &path) override {
        if (m_hasTrash)
            m_trashed.append(path);
        return m_hasTrash;
    }

    void setHasTrash(bool hasTrash) { m_hasTrash = hasTrash; }
    [[nodiscard]] const QStringList &trashed() const { return m_trashed; }

    // Addresses and folders.
    [[nodiscard]] const QList<QUrl> &opened() const { return m_opened; }
    [[nodiscard]] const QStringList &revealed() const { return m_revealed; }
    // Tells that what was opened as number `index` did not open.
    void fail(qsizetype index) const { m_failed[index](); }

private:
    QList<QUrl> m_opened;
    QStringList m_revealed;
    QStringList m_trashed;
    bool m_hasTrash = true;
    QList<std::function<void()>> m_failed;
};

} // namespace quillmount
