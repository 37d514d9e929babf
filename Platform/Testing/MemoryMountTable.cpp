// SPDX-License-Identifier: LicenseRef-Quillmount
#include "Platform/Testing/MemoryMountTable.h"

namespace quillmount {

bool MemoryMountTable::isMounted(const QString &path) const {
    return m_mounted.contains(path) || m_foreign.contains(path) || (m_probe && m_probe(path));
}

std::unique_ptr<MountWatch> MemoryMountTable::watch(const QString &path) {
    auto watch = std::make_unique<MemoryMountWatch>(path);
    m_watches.append(watch.get());
    return watch;
}

void MemoryMountTable::unmount(const QString &path) {
    m_mounted.remove(path);
    // A receiver may destroy its watch, or make another.
    for (const auto &watch : watchesOf(path))
        if (watch)
            watch->sendUnmounted();
}

void MemoryMountTable::endServer(const QString &path) {
    for (const auto &watch : watchesOf(path))
        if (watch)
            watch->sendServerGone();
}

MemoryMountWatch *MemoryMountTable::watchOf(const QString &path) const {
    const auto watches = watchesOf(path);
    return watches.isEmpty() ? nullptr : watches.last().data();
}

QList<QPointer<MemoryMountWatch>> MemoryMountTable::watchesOf(const QString &path) const {
    QList<QPointer<MemoryMountWatch>> found;
    for (const auto &watch : m_watches)
        if (watch && watch->path() == path)
            found.append(watch);
    return found;
}

} // namespace quillmount
