// SPDX-License-Identifier: LicenseRef-Quillmount
#include "Mount/OpenFolders.h"

#include "Mount/Buffer.h"
#include "Mount/FileAttributes.h"
#include "Mount/KernelEntry.h"
#include "Mount/SillyName.h"

#include <cerrno>

namespace quillmount::mount {
namespace {

// The kernel sees "." and ".." before the names of the listing.
constexpr std::uint64_t ownNames = 2;
constexpr std::uint64_t unknownNumber = ~std::uint64_t{0};

// The reply to one read of a folder, filled up to its size.
class Packer {
public:
    Packer(fuse_req_t request, std::size_t size)
        : m_request(request)
        , m_bytes(size) {}

    // Appends one entry; false when there is no room for it.
    bool add(const char *name, const fuse_entry_param &entry, std::uint64_t nextOffset, bool plus) {
        const std::size_t room = m_bytes.room();
        char *place = m_bytes.data() + m_bytes.size();
        const std::size_t needed =
            plus ? fuse_add_direntry_plus(m_request, place, room, name, &entry, static_cast<off_t>(nextOffset))
                 : fuse_add_direntry(m_request, place, room, name, &entry.attr, static_cast<off_t>(nextOffset));
        if (needed > room)
            return false;
        m_bytes.setSize(m_bytes.size() + needed);
        return true;
    }
    const Buffer &bytes() const { return m_bytes; }

private:
    fuse_req_t m_request;
    Buffer m_bytes;
};

// An entry that says no more than that there is such a name.
fuse_entry_param bareEntry(mode_t type, std::uint64_t number) {
    fuse_entry_param entry{};
    entry.attr.st_mode = type;
    entry.attr.st_ino = number;
    return entry;
}

mode_t typeOf(const DirectorySnapshot::Entry &entry) {
    if (!entry.hasAttributes)
        return 0;
    return entry.attributes.type == FileType::directory ? S_IFDIR : S_IFREG;
}

} // namespace

void OpenFolders::open(Request request, const InodePtr &folder, fuse_file_info info) {
    auto opened = std::make_shared<OpenFolder>();
    opened->inode = folder;
    info.fh = m_nextId++;
    m_folders.emplace(info.fh, std::move(opened));
    if (!request.answer([&](fuse_req_t target) { return fuse_reply_open(target, &info); }))
        m_folders.erase(info.fh);
}

void OpenFolders::release(Request request, std::uint64_t id) {
    m_folders.erase(id);
    request.fail(0);
}

Task<void> OpenFolders::read(Request request, std::uint64_t id, std::uint64_t offset, std::size_t size, bool plus) {
    const auto found = m_folders.find(id);
    if (found == m_folders.end()) {
        request.fail(EBADF);
        co_return;
    }
    const std::shared_ptr<OpenFolder> folder = found->second;
    if (offset == 0 || !folder->listing.snapshot) {
        const Result<Listing> loaded = co_await m_listings.load(folder->inode);
        if (loaded.error != 0) {
            request.fail(loaded.error);
            co_return;
        }
        folder->listing = loaded.value;
    }
    std::vector<InodePtr> told;
    const bool taken =
        request.answer([&](fuse_req_t target) { return fill(target, *folder, offset, size, plus, told); });
    for (const InodePtr &child : told) {
        if (!taken)
            m_table.forget(child->id(), 1);
    }
}

// The file of an entry that can be believed; null when nothing but the name can.
InodePtr OpenFolders::known(const OpenFolder &folder, const DirectorySnapshot::Entry &entry) {
    const InodePtr child = m_table.child(*folder.inode, entry.name);
    // What was changed here after the page was asked for is newer than the page.
    const bool outdated =
        folder.inode->namesChanged > entry.asOf || (child && FileAttributes::isOutdated(*child, entry.asOf));
    const bool trusted = FileAttributes::trustLeft(folder.listing.heard) > 0;
    if (!trusted || outdated || !entry.hasAttributes || entry.handle.empty())
        return nullptr;
    const InodePtr inode = m_table.obtain(folder.inode, entry.name, entry.attributes.type, entry.handle);
    inode->heard = {entry.attributes, entry.asOf, folder.listing.heard};
    return inode;
}

int OpenFolders::fill(fuse_req_t target, const OpenFolder &folder, std::uint64_t offset, std::size_t size, bool plus,
                      std::vector<InodePtr> &told) {
    const InodePtr &inode = folder.inode;
    const auto &entries = folder.listing.snapshot->entries();
    const bool isRoot = inode == m_table.root();
    Packer packer(target, size);
    for (std::uint64_t position = offset; position < entries.size() + ownNames; ++position) {
        if (position < ownNames) {
            const InodePtr &meant = position == 1 && inode->parent() ? inode->parent() : inode;
            if (!packer.add(position == 0 ? "." : "..", bareEntry(S_IFDIR, meant->number()), position + 1, plus))
                break;
            continue;
        }
        const DirectorySnapshot::Entry &entry = entries[position - ownNames];
        if (isRoot && SillyName::isHidden(entry.name))
            continue;
        InodePtr child = plus ? known(folder, entry) : nullptr;
        if (child) {
            if (!packer.add(entry.name.c_str(), entryOf(*child), position + 1, plus))
                break;
            m_table.addLookup(child);
            told.push_back(child);
            continue;
        }
        child = m_table.child(*inode, entry.name);
        const std::uint64_t number = child ? child->number() : unknownNumber;
        if (!packer.add(entry.name.c_str(), bareEntry(typeOf(entry), number), position + 1, plus))
            break;
    }
    return fuse_reply_buf(target, packer.bytes().data(), packer.bytes().size());
}

} // namespace quillmount::mount
