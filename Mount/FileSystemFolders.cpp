// SPDX-License-Identifier: LicenseRef-Quillmount
#include "Mount/FileSystem.h"

#include "Mount/HandleCall.h"

#include <nfsc/libnfs-raw-nfs.h>

#include <syslog.h>

#include <algorithm>
#include <cerrno>

namespace quillmount::mount {
namespace {

// The kernel sees "." and ".." before the names of the listing.
constexpr std::uint64_t ownNames = 2;

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

} // namespace

void FileSystem::openFolder(Request request, const InodePtr &inode, fuse_file_info info) {
    auto folder = std::make_shared<OpenFolder>();
    folder->inode = inode;
    info.fh = m_nextOpen++;
    m_folders.emplace(info.fh, std::move(folder));
    if (!request.answer([&](fuse_req_t target) { return fuse_reply_open(target, &info); }))
        m_folders.erase(info.fh);
}

void FileSystem::releaseFolder(Request request, std::uint64_t id) {
    m_folders.erase(id);
    request.fail(0);
}

Task<int> FileSystem::loadFolder(OpenFolder &folder) {
    const InodePtr inode = folder.inode;
    if (!inode->names)
        inode->names = std::make_unique<KnownListing>();
    const auto asked = EventLoop::Clock::now();
    const unsigned number = inode->names->beginLearning();
    auto listing = std::make_shared<DirectorySnapshot>();
    const int error = co_await loadPages(inode, *listing);
    if (error != 0)
        listing.reset();
    const auto now = EventLoop::Clock::now();
    inode->names->endLearning(number, listing, asked, now);
    if (error != 0)
        co_return error;
    folder.listing = listing;
    folder.heard = inode->listed = now;
    // Large folders are not kept in memory for longer than they are believed.
    m_loop.at(folder.heard + KnownListing::trust, [weak = std::weak_ptr(inode)] {
        const InodePtr known = weak.lock();
        if (known && known->names && !known->names->isKnown(EventLoop::Clock::now()))
            known->names->forget();
    });
    co_return 0;
}

Task<int> FileSystem::loadPages(InodePtr inode, DirectorySnapshot &snapshot) {
    while (true) {
        const std::uint64_t asOf = ++m_sequence;
        Result<DirectoryPage> page =
            co_await onHandle<DirectoryPage>(Procedure::list, inode, [&](const Handle &handle) {
                return m_client.list(handle, snapshot.cookie(), snapshot.verifier());
            });
        if (page.status == NFS3ERR_BAD_COOKIE) {
            snapshot.badCookie();
            continue;
        }
        if (page.error != 0)
            co_return page.error;
        if (snapshot.take(std::move(page.value), asOf))
            break;
    }
    for (const std::string &name : snapshot.leftOut()) {
        if (m_toldOf.insert(name).second)
            syslog(LOG_USER | LOG_WARNING, "a name of %zu bytes is too long to be shown in its folder: %.60s...",
                   name.size(), name.c_str());
    }
    co_return 0;
}

Task<void> FileSystem::readFolder(Request request, std::uint64_t id, std::uint64_t offset, std::size_t size,
                                  bool plus) {
    const auto found = m_folders.find(id);
    if (found == m_folders.end()) {
        request.fail(EBADF);
        co_return;
    }
    const std::shared_ptr<OpenFolder> folder = found->second;
    const InodePtr inode = folder->inode;
    if (offset == 0 || !folder->listing) {
        const int error = co_await loadFolder(*folder);
        if (error != 0) {
            request.fail(error);
            co_return;
        }
    }
    const bool isRoot = inode == m_table.root();
    const double left = trustLeft(folder->heard);
    const std::shared_ptr<const DirectorySnapshot> listing = folder->listing;
    const auto &entries = listing->entries();
    std::vector<InodePtr> told;
    const bool taken = request.answer([&](fuse_req_t target) {
        Packer packer(target, size);
        for (std::uint64_t position = offset; position < entries.size() + ownNames; ++position) {
            fuse_entry_param entry{};
            entry.attr.st_mode = S_IFDIR;
            if (position < ownNames) {
                const InodePtr &meant = position == 1 && inode->parent() ? inode->parent() : inode;
                entry.attr.st_ino = meant->number();
                if (!packer.add(position == 0 ? "." : "..", entry, position + 1, plus))
                    break;
                continue;
            }
            const DirectorySnapshot::Entry &item = entries[position - ownNames];
            if (isRoot && SillyName::isHidden(item.name))
                continue;
            InodePtr child = m_table.child(*inode, item.name);
            // What was changed here after the page was asked for is newer than the page.
            const bool outdated = inode->namesChanged > item.asOf || (child && isOutdated(*child, item.asOf));
            if (plus && left > 0 && !outdated && item.hasAttributes && !item.handle.empty()) {
                child = m_table.obtain(inode, item.name, item.attributes.type, item.handle);
                child->heard = {item.attributes, item.asOf, folder->heard};
                entry.ino = child->id();
                entry.generation = 1;
                entry.attr = statOf(*child, item.attributes);
                entry.attr_timeout = entry.entry_timeout = left;
            } else {
                const bool isFolder = item.attributes.type == FileType::directory;
                entry.attr.st_mode = !item.hasAttributes ? 0 : isFolder ? S_IFDIR : S_IFREG;
                entry.attr.st_ino = child ? child->number() : ~std::uint64_t{0};
            }
            if (!packer.add(item.name.c_str(), entry, position + 1, plus))
                break;
            if (entry.ino != 0) {
                m_table.addLookup(child);
                told.push_back(child);
            }
        }
        return fuse_reply_buf(target, packer.bytes().data(), packer.bytes().size());
    });
    for (const InodePtr &child : told) {
        if (!taken)
            m_table.forget(child->id(), 1);
    }
}

} // namespace quillmount::mount
