// SPDX-License-Identifier: LicenseRef-Quillmount
#include "Mount/UnlinkedFiles.h"

#include "Mount/FileContent.h"

#include <random>

namespace quillmount::mount {
namespace {

std::uint64_t millisecondsSince1970() {
    const auto now = std::chrono::system_clock::now().time_since_epoch();
    return static_cast<std::uint64_t>(std::chrono::duration_cast<std::chrono::milliseconds>(now).count());
}

std::uint64_t randomNumber() {
    static std::random_device source;
    return (std::uint64_t{source()} << 32) | source();
}

} // namespace

UnlinkedFiles::UnlinkedFiles(InodeTable &table, Names &names, Listings &listings, PendingWork &work)
    : m_table(table)
    , m_names(names)
    , m_listings(listings)
    , m_work(work)
    , m_silly(machineTag())
    , m_started(millisecondsSince1970()) {}

Task<int> UnlinkedFiles::hide(InodePtr inode) {
    const std::string hidden = m_silly.make(millisecondsSince1970(), randomNumber());
    const InodePtr folder = inode->parent();
    const std::string name = inode->name();
    const int error = co_await m_names.move(folder, name, m_table.root(), hidden);
    if (error == 0)
        m_table.move(inode, m_table.root(), hidden);
    co_return error;
}

bool UnlinkedFiles::isHidden(const Inode &inode) const {
    return inode.parent() == m_table.root() && SillyName::isHidden(inode.name());
}

void UnlinkedFiles::add(const InodePtr &inode) {
    inode->unlinked = true;
    m_files.insert(inode);
}

void UnlinkedFiles::removeIfClosed(const InodePtr &inode) {
    if (inode && inode->unlinked && inode->opens == 0)
        spawn(removeClosed(inode));
}

Task<void> UnlinkedFiles::removeClosed(InodePtr inode) {
    ++m_work.background;
    if (inode->content)
        co_await inode->content->settle();
    if (inode->opens == 0 && !inode->isGone())
        co_await m_names.removeFile(inode->parent(), inode->name());
    m_files.erase(inode);
    --m_work.background;
    m_work.progress.open();
}

Task<void> UnlinkedFiles::removeAll() {
    const std::set<InodePtr> files = m_files;
    for (const InodePtr &inode : files) {
        const std::string name = inode->name();
        co_await m_names.removeFile(m_table.root(), name);
    }
}

Task<void> UnlinkedFiles::clearLeftovers() {
    ++m_work.background;
    const Result<Listing> root = co_await m_listings.load(m_table.root());
    if (root.error == 0) {
        for (const auto &entry : root.value.snapshot->entries()) {
            const bool inUse = m_table.child(*m_table.root(), entry.name) != nullptr;
            if (m_silly.isLeftover(entry.name, m_started) && !inUse)
                co_await m_names.removeFile(m_table.root(), entry.name);
        }
    }
    --m_work.background;
    m_work.progress.open();
}

} // namespace quillmount::mount
