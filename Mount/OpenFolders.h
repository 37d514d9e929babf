// SPDX-License-Identifier: LicenseRef-Quillmount
#pragma once

#include "Mount/Listings.h"
#include "Mount/Request.h"

namespace quillmount::mount {

// The folders that programs are reading, by the number that the kernel knows each one by. A reader walks through the
// listing that was complete when it began.
class OpenFolders {
public:
    OpenFolders(InodeTable &table, Listings &listings)
        : m_table(table)
        , m_listings(listings) {}

    void open(Request request, const InodePtr &folder, fuse_file_info info);
    // Answers with the names from `offset` on that fit into `size` bytes; with `plus` also with what is known of them.
    Task<void> read(Request request, std::uint64_t id, std::uint64_t offset, std::size_t size, bool plus);
    void release(Request request, std::uint64_t id);

private:
    struct OpenFolder {
        InodePtr inode;
        Listing listing; // empty until it is loaded
    };

    int fill(fuse_req_t target, const OpenFolder &folder, std::uint64_t offset, std::size_t size, bool plus,
             std::vector<InodePtr> &told);
    InodePtr known(const OpenFolder &folder, const DirectorySnapshot::Entry &entry);

    InodeTable &m_table;
    Listings &m_listings;
    std::unordered_map<std::uint64_t, std::shared_ptr<OpenFolder>> m_folders;
    std::uint64_t m_nextId = 1;
};

} // namespace quillmount::mount
