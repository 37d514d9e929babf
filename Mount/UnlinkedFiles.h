// SPDX-License-Identifier: LicenseRef-Quillmount
#pragma once

#include "Mount/Listings.h"
#include "Mount/Names.h"
#include "Mount/PendingWork.h"
#include "Mount/SillyName.h"

namespace quillmount::mount {

// Files that were removed or replaced while a program has them open: they live on under hidden names in the root, until
// the last close.
class UnlinkedFiles {
public:
    UnlinkedFiles(InodeTable &table, Names &names, Listings &listings, PendingWork &work);

    // Moves a frozen file to a hidden name; gives an error number.
    Task<int> hide(InodePtr inode);
    bool isHidden(const Inode &inode) const;
    // A hidden file has no name any more, as far as programs are concerned.
    void add(const InodePtr &inode);
    // Begins to remove such a file if no program has it open.
    void removeIfClosed(const InodePtr &inode);

    // Removes them all, open or not.
    Task<void> removeAll();
    // Removes what a crash of an earlier mount left behind.
    Task<void> clearLeftovers();

private:
    Task<void> removeClosed(InodePtr inode);

    InodeTable &m_table;
    Names &m_names;
    Listings &m_listings;
    PendingWork &m_work;
    SillyName m_silly;
    std::uint64_t m_started;
    std::set<InodePtr> m_files;
};

} // namespace quillmount::mount
