// SPDX-License-Identifier: LicenseRef-Quillmount
#pragma once

#include "Platform/MountTable.h"
#include "Platform/Testing/MemoryMountWatch.h"

#include <QList>
#include <QPointer>
#include <QSet>

#include <functional>

namespace quillmount {

// A list of mounts that a test edits. Paths are compared as they are.
class MemoryMountTable final : public MountTable {
public:
    [[nodiscard]] bool isMounted(const QString &path) const override;
    [[nodiscard]] bool isForeign(const QString &path) const override { return m_foreign.contains(path); }
    [[nodiscard]] std::unique_ptr<MountWatch> watch(const QString &path) override;

    void mount(const QString &path) { m_mounted.insert(path); }
    // Puts somebody else's file system on the path, or takes it away again.
    void setForeign(const QString &path, bool there) {
        if (there)
            m_foreign.insert(path);
        else
            m_foreign.remove(path);
    }
    // Takes the path off the list and tells its watches.
    void unmount(const QString &path);
    // Lets the process that serves the mount end: the path stays on the list and its watches are told.
    void endServer(const QString &path);

    // Also asked for a path that is not on the list, for tests whose mount command is a script that leaves a mark.
    void setProbe(std::function<bool(const QString &)> isMounted) { m_probe = std::move(isMounted); }

    // The living watch of a path made last; null when there is none.
    [[nodiscard]] MemoryMountWatch *watchOf(const QString &path) const;

private:
    [[nodiscard]] QList<QPointer<MemoryMountWatch>> watchesOf(const QString &path) const;

    QSet<QString> m_mounted;
    QSet<QString> m_foreign;
    std::function<bool(const QString &)> m_probe;
    QList<QPointer<MemoryMountWatch>> m_watches;
};

} // namespace quillmount
