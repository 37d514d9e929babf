// SPDX-License-Identifier: LicenseRef-Quillmount
#include "Mount/FileSystem.h"

#include "Mount/KernelEntry.h"

#include <sys/statvfs.h>

#include <cerrno>

namespace quillmount::mount {
namespace {

timespec currentTime() {
    timespec now{};
    clock_gettime(CLOCK_REALTIME, &now);
    return now;
}

} // namespace

FileSystem::FileSystem(EventLoop &loop, NfsClient &client)
    : m_client(client)
    , m_handles(client, m_table)
    , m_attributes(m_handles, client, m_table)
    , m_reader(loop)
    , m_files(m_table, m_handles, client, m_work, m_reader)
    , m_names(loop, m_handles, client, m_table)
    , m_listings(loop, m_handles, client, m_table)
    , m_unlinked(m_table, m_names, m_listings, m_work)
    , m_moves(m_handles, m_table, m_names, m_unlinked)
    , m_folders(m_table, m_listings) {}

Task<int> FileSystem::mountRoot() {
    int error = co_await m_handles.mountRoot();
    if (error == 0)
        error = co_await m_attributes.fetch(m_table.root());
    co_return error;
}

Task<void> FileSystem::clearLeftovers() {
    co_await m_unlinked.clearLeftovers();
}

Task<void> FileSystem::finish() {
    const std::vector<OpenFilePtr> files = m_files.all();
    for (const OpenFilePtr &file : files)
        co_await file->content->commit(file, NfsClient::Commit::close);
    while (!m_work.isEmpty() && !m_client.isGone() && !m_client.isDead())
        co_await m_work.progress.wait();
    co_await m_unlinked.removeAll();
}

// Attributes

bool FileSystem::answerEntry(Request &request, const InodePtr &inode) {
    const fuse_entry_param entry = entryOf(*inode);
    m_table.addLookup(inode);
    if (request.answer([&](fuse_req_t target) { return fuse_reply_entry(target, &entry); }))
        return true;
    m_table.forget(inode->id(), 1);
    return false;
}

void FileSystem::answerAttributes(Request &request, const Inode &inode) {
    const struct stat attributes = statOf(inode);
    const double left = FileAttributes::trustLeft(inode.heard.asked);
    request.answer([&](fuse_req_t target) { return fuse_reply_attr(target, &attributes, left); });
}

Task<void> FileSystem::lookup(Request request, InodePtr folder, std::string name) {
    if (const int error = m_names.check(*folder, name); error != 0) {
        request.fail(error == EPERM ? ENOENT : error);
        co_return;
    }
    InodePtr child = m_table.child(*folder, name);
    if (folder->names) {
        const KnownListing::Answer known = folder->names->look(name, EventLoop::Clock::now());
        if (known.says == KnownListing::Says::absent) {
            request.fail(ENOENT);
            co_return;
        }
        const bool outdated = child && known.entry && FileAttributes::isOutdated(*child, known.entry->asOf);
        if (known.says == KnownListing::Says::present && !outdated) {
            const Heard heard{known.entry->attributes, known.entry->asOf, known.heard};
            child = m_table.obtain(folder, name, heard.attributes.type, known.entry->handle);
            child->heard = heard;
            answerEntry(request, child);
            co_return;
        }
    }
    m_listings.noteQuestion(folder);
    if (child) {
        const bool inPlace = co_await m_attributes.isInPlace(folder, child);
        if (inPlace) {
            answerEntry(request, child);
            co_return;
        }
    }
    const FileContent::AttributeCall counted(child);
    Heard heard = m_table.asking();
    const Result<FoundFile> found = co_await m_handles.find(folder, name);
    if (found.error != 0) {
        request.fail(found.error);
        co_return;
    }
    heard.attributes = found.value.attributes;
    child = m_table.obtain(folder, name, heard.attributes.type, found.value.handle);
    child->heard = heard;
    answerEntry(request, child);
}

Task<void> FileSystem::getAttributes(Request request, InodePtr inode) {
    const int error = co_await m_attributes.refresh(inode);
    if (error != 0)
        request.fail(error);
    else
        answerAttributes(request, *inode);
}

Task<void> FileSystem::setAttributes(Request request, InodePtr inode, struct stat wanted, int which) {
    // Modes and owners are accepted and not kept, as the server does: copying a tree must not fail on them. The time of
    // the last access is not kept either, since the server has only one time.
    AttributeChange change;
    if ((which & FUSE_SET_ATTR_SIZE) != 0)
        change.size = static_cast<std::uint64_t>(wanted.st_size);
    const bool now = (which & FUSE_SET_ATTR_MTIME_NOW) != 0;
    if ((which & FUSE_SET_ATTR_MTIME) != 0 && !(now && change.size))
        change.modified = now ? currentTime() : wanted.st_mtim;
    if (change.size && inode->isDirectory()) {
        request.fail(EISDIR);
        co_return;
    }
    int error = 0;
    if (change.size)
        m_files.contentOf(*inode);
    if (change.size || change.modified)
        error = co_await m_attributes.change(inode, change);
    else
        error = co_await m_attributes.refresh(inode);
    if (error != 0) {
        request.fail(error);
        co_return;
    }
    inode->statusChanged = currentTime();
    if (change.modified)
        inode->entriesChanged = {};
    answerAttributes(request, *inode);
}

Task<void> FileSystem::preallocate(Request request, InodePtr inode, std::uint64_t end) {
    const int error = co_await m_files.contentOf(*inode).growTo(end);
    request.fail(error);
}

Task<void> FileSystem::space(Request request) {
    constexpr std::uint64_t unknown = std::uint64_t{1} << 60; // the server's -1, and its 2^62 for "no idea"
    constexpr std::uint64_t plenty = std::uint64_t{1} << 50;
    constexpr std::uint64_t block = 4096;
    const Result<SpaceResult> result = co_await m_handles.call<SpaceResult>(
        Procedure::fileSystemStatus, m_table.root(), [&](const Handle &handle) { return m_client.space(handle); });
    if (result.error != 0) {
        request.fail(result.error);
        co_return;
    }
    const std::uint64_t total = result.value.total < unknown ? result.value.total : plenty;
    const std::uint64_t free = std::min(result.value.free < unknown ? result.value.free : plenty, total);
    struct statvfs answer {};
    answer.f_bsize = block;
    answer.f_frsize = block;
    answer.f_blocks = total / block;
    answer.f_bfree = answer.f_bavail = free / block;
    // There is no such limit; programs that look for a free inode find some.
    answer.f_files = answer.f_ffree = answer.f_favail = 1'000'000'000;
    answer.f_namemax = DirectorySnapshot::maxName;
    request.answer([&](fuse_req_t target) { return fuse_reply_statfs(target, &answer); });
}

// Names

Task<void> FileSystem::makeDirectory(Request request, InodePtr folder, std::string name) {
    const Result<InodePtr> made = co_await m_names.makeFolder(folder, name);
    if (made.error != 0)
        request.fail(made.error);
    else
        answerEntry(request, made.value);
}

Task<void> FileSystem::makeFile(Request request, InodePtr folder, std::string name) {
    const Result<InodePtr> made = co_await m_names.makeFile(folder, name, true);
    if (made.error != 0)
        request.fail(made.error);
    else
        answerEntry(request, made.value);
}

Task<void> FileSystem::create(Request request, InodePtr folder, std::string name, fuse_file_info info) {
    const Result<InodePtr> made = co_await m_names.makeFile(folder, name, (info.flags & O_EXCL) != 0);
    if (made.error != 0) {
        request.fail(made.error);
        co_return;
    }
    const InodePtr inode = made.value;
    info.fh = m_files.add(inode);
    int error = 0;
    if ((info.flags & O_TRUNC) != 0 && inode->heard.attributes.size != 0) {
        AttributeChange change;
        change.size = 0;
        error = co_await m_attributes.change(inode, change);
    }
    if (error != 0) {
        close(info.fh);
        request.fail(error);
        co_return;
    }
    info.keep_cache = inode->content->keepsPages(inode->heard.attributes.version()) ? 1 : 0;
    const fuse_entry_param entry = entryOf(*inode);
    m_table.addLookup(inode);
    if (!request.answer([&](fuse_req_t target) { return fuse_reply_create(target, &entry, &info); })) {
        m_table.forget(inode->id(), 1);
        close(info.fh);
    }
}

Task<void> FileSystem::unlink(Request request, InodePtr folder, std::string name) {
    const int error = co_await m_moves.unlink(folder, name);
    request.fail(error);
}

Task<void> FileSystem::removeDirectory(Request request, InodePtr folder, std::string name) {
    const int error = co_await m_names.removeFolder(folder, name);
    request.fail(error);
}

Task<void> FileSystem::rename(Request request, InodePtr folder, std::string name, InodePtr newFolder,
                              std::string newName, unsigned flags) {
    const int error = co_await m_moves.rename(folder, name, newFolder, newName, flags);
    request.fail(error);
}

// Content

void FileSystem::close(std::uint64_t file) {
    m_unlinked.removeIfClosed(m_files.remove(file));
}

Task<void> FileSystem::open(Request request, InodePtr inode, fuse_file_info info) {
    // Counted before anything is asked, so that an unlink in the meantime keeps the file for us.
    info.fh = m_files.add(inode);
    const int error = co_await m_attributes.fetch(inode);
    if (error != 0) {
        close(info.fh);
        request.fail(error);
        co_return;
    }
    if (inode->content->keepsPages(FileAttributes::current(*inode).version()))
        info.keep_cache = 1;
    else
        m_staleAttributes(inode->id());
    if (!request.answer([&](fuse_req_t target) { return fuse_reply_open(target, &info); }))
        close(info.fh);
}

Task<void> FileSystem::read(Request request, std::uint64_t id, std::uint64_t offset, std::size_t size) {
    const OpenFilePtr file = m_files.find(id);
    if (!file) {
        request.fail(EBADF);
        co_return;
    }
    const Result<ReadBytes> read = co_await m_reader.read(file, offset, size);
    if (read.error != 0) {
        request.fail(read.error);
        co_return;
    }
    const std::vector<iovec> &parts = read.value.parts;
    request.answer(
        [&](fuse_req_t target) { return fuse_reply_iov(target, parts.data(), static_cast<int>(parts.size())); });
}

void FileSystem::write(Request request, std::uint64_t id, std::uint64_t offset, std::string_view bytes, Buffer block,
                       bool fromPageCache) {
    const OpenFilePtr file = m_files.find(id);
    const int error = file ? file->content->takeError(*file) : EBADF;
    if (error != 0) {
        request.fail(error);
        return;
    }
    const std::size_t size = bytes.size();
    const std::uint64_t sequence = file->content->write(*file, offset, bytes, std::move(block));
    spawn(answerAccepted(std::move(request), file, sequence, size, fromPageCache));
}

Task<void> FileSystem::answerAccepted(Request request, OpenFilePtr file, std::uint64_t sequence, std::size_t size,
                                      bool fromPageCache) {
    const int error = co_await file->content->accepted(sequence, fromPageCache);
    if (error != 0)
        request.fail(error);
    else
        request.answer([&](fuse_req_t target) { return fuse_reply_write(target, size); });
}

Task<void> FileSystem::flush(Request request, std::uint64_t id, NfsClient::Commit how) {
    const OpenFilePtr file = m_files.find(id);
    if (!file) {
        request.fail(EBADF);
        co_return;
    }
    co_await file->content->commit(file, how);
    request.fail(file->content->takeError(*file));
}

Task<void> FileSystem::release(Request request, std::uint64_t id) {
    request.fail(0);
    const OpenFilePtr file = m_files.find(id);
    if (!file)
        co_return;
    // What programs changed through memory maps may have come after the last close. Nobody is left to be told.
    co_await file->content->commit(file, NfsClient::Commit::close);
    close(id);
}

// Folders

void FileSystem::openFolder(Request request, const InodePtr &inode, fuse_file_info info) {
    m_folders.open(std::move(request), inode, info);
}

Task<void> FileSystem::readFolder(Request request, std::uint64_t folder, std::uint64_t offset, std::size_t size,
                                  bool plus) {
    co_await m_folders.read(std::move(request), folder, offset, size, plus);
}

void FileSystem::releaseFolder(Request request, std::uint64_t folder) {
    m_folders.release(std::move(request), folder);
}

} // namespace quillmount::mount
