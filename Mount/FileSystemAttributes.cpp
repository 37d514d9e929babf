// SPDX-License-Identifier: LicenseRef-Quillmount
#include "Mount/FileSystem.h"

#include "Mount/HandleCall.h"

#include <sys/statvfs.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>

namespace quillmount::mount {
namespace {

constexpr blksize_t preferredTransfer = 256 * 1024;

bool isLater(const timespec &a, const timespec &b) {
    return a.tv_sec != b.tv_sec ? a.tv_sec > b.tv_sec : a.tv_nsec > b.tv_nsec;
}

timespec currentTime() {
    timespec now{};
    clock_gettime(CLOCK_REALTIME, &now);
    return now;
}

} // namespace

Attributes FileSystem::withPending(const Inode &inode, Attributes attributes) const {
    if (!inode.file || attributes.type != FileType::regular)
        return attributes;
    const FileState &state = *inode.file;
    const std::uint64_t end = std::max(state.pending.end(), state.endWhileAsking);
    if (end > attributes.size)
        attributes.size = attributes.used = end;
    if (!state.pending.isEmpty() && isLater(state.written, attributes.modified))
        attributes.modified = attributes.changed = state.written;
    return attributes;
}

struct stat FileSystem::statOf(const Inode &inode, const Attributes &attributes) const {
    struct stat result {};
    result.st_ino = inode.number();
    result.st_mode = attributes.mode;
    switch (inode.type()) {
    case FileType::directory:
        result.st_mode |= S_IFDIR;
        break;
    case FileType::symlink:
        result.st_mode |= S_IFLNK;
        break;
    default:
        result.st_mode |= S_IFREG;
    }
    result.st_nlink = inode.unlinked ? 0 : 1;
    // The drive belongs to whoever mounted it; nobody else can reach it.
    result.st_uid = getuid();
    result.st_gid = getgid();
    result.st_size = static_cast<off_t>(attributes.size);
    result.st_blocks = static_cast<blkcnt_t>((attributes.used + 511) / 512);
    result.st_blksize = preferredTransfer;
    result.st_atim = attributes.accessed;
    const auto latest = [](const timespec &a, const timespec &b) { return isLater(a, b) ? a : b; };
    result.st_mtim = latest(inode.entriesChanged, attributes.modified);
    result.st_ctim = latest(latest(inode.entriesChanged, inode.statusChanged), attributes.changed);
    return result;
}

// How long the kernel may answer from what the server said when it was `asked`, in seconds.
double FileSystem::trustLeft(EventLoop::Moment asked) {
    const std::chrono::duration<double> left = asked + KnownListing::trust - EventLoop::Clock::now();
    return std::max(left.count(), 0.0);
}

// True when the file was changed here after sequence number `asOf`.
bool FileSystem::isOutdated(const Inode &inode, std::uint64_t asOf) const {
    return inode.changed > asOf || (inode.file && !inode.file->pending.isEmpty());
}

bool FileSystem::answerEntry(Request &request, const InodePtr &inode, const Heard &heard) {
    inode->heard = heard;
    fuse_entry_param entry{};
    entry.ino = inode->id();
    entry.generation = 1;
    entry.attr = statOf(*inode, withPending(*inode, heard.attributes));
    entry.attr_timeout = entry.entry_timeout = trustLeft(heard.asked);
    m_table.addLookup(inode);
    if (request.answer([&](fuse_req_t target) { return fuse_reply_entry(target, &entry); }))
        return true;
    m_table.forget(inode->id(), 1);
    return false;
}

Task<Result<Attributes>> FileSystem::fetchAttributes(InodePtr inode) {
    const AttributeWatch watch(inode);
    Heard heard = asking();
    Result<Attributes> result = co_await onHandle<Attributes>(
        Procedure::getAttributes, inode, [&](const Handle &handle) { return m_client.getAttributes(handle); });
    if (result.error == 0 && result.value.type != inode->type())
        result.error = ESTALE;
    if (result.error == 0) {
        heard.attributes = result.value;
        inode->heard = heard;
        result.value = withPending(*inode, result.value);
        noteSize(*inode, result.value);
    }
    co_return result;
}

void FileSystem::noteSize(Inode &inode, const Attributes &attributes) {
    if (!inode.file)
        return;
    if (inode.file->pending.isEmpty())
        inode.file->reach = attributes.size;
    inode.file->size = attributes.size;
}

// The attributes that the server gave lately; it is asked only if the file was changed since then.
Task<Result<Attributes>> FileSystem::recentAttributes(InodePtr inode) {
    Result<Attributes> result;
    const Heard &heard = inode->heard;
    const bool believed = heard.asOf > 0 && !isOutdated(*inode, heard.asOf) && trustLeft(heard.asked) > 0;
    if (believed && !inode->handle.empty()) {
        result.value = heard.attributes;
        noteSize(*inode, result.value);
    } else {
        result = co_await fetchAttributes(inode);
    }
    co_return result;
}

// Answers a look-up of a file that is known. A handle is the hash of a path, so the attributes behind it say the same
// as a look-up of the name, with less to do for the server.
Task<bool> FileSystem::answerByHandle(Request &request, InodePtr folder, InodePtr inode) {
    if (inode->handle.empty())
        co_return false;
    const AttributeWatch watch(inode);
    Heard heard = asking();
    const std::string name = inode->name();
    const int error = co_await holdHandles(inode);
    if (error != 0)
        co_return false;
    const Reply<Attributes> reply = co_await m_client.getAttributes(inode->handle);
    releaseHandle(*inode);
    const bool inPlace = inode->parent() == folder && inode->name() == name && reply.value.type == inode->type();
    if (errorNumber(Procedure::getAttributes, reply) != 0 || !inPlace)
        co_return false;
    heard.attributes = reply.value;
    answerEntry(request, inode, heard);
    co_return true;
}

Task<void> FileSystem::lookup(Request request, InodePtr folder, std::string name) {
    if (const int error = checkName(*folder, name); error != 0) {
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
        if (known.says == KnownListing::Says::present && (!child || !isOutdated(*child, known.entry->asOf))) {
            const Heard heard{known.entry->attributes, known.entry->asOf, known.heard};
            child = m_table.obtain(folder, name, heard.attributes.type, known.entry->handle);
            answerEntry(request, child, heard);
            co_return;
        }
    }
    noteQuestion(folder);
    if (child) {
        const bool answered = co_await answerByHandle(request, folder, child);
        if (answered)
            co_return;
    }
    const AttributeWatch watch(child);
    Heard heard = asking();
    const Result<FoundFile> found = co_await find(folder, name);
    if (found.error != 0) {
        request.fail(found.error);
        co_return;
    }
    heard.attributes = found.value.attributes;
    answerEntry(request, m_table.obtain(folder, name, heard.attributes.type, found.value.handle), heard);
}

Task<void> FileSystem::getAttributes(Request request, InodePtr inode) {
    const Result<Attributes> result = co_await recentAttributes(inode);
    if (result.error != 0) {
        request.fail(result.error);
        co_return;
    }
    const struct stat attributes = statOf(*inode, result.value);
    const double left = trustLeft(inode->heard.asked);
    request.answer([&](fuse_req_t target) { return fuse_reply_attr(target, &attributes, left); });
}

void FileSystem::noteChange(FileState &state, const Change &change) {
    // The kernel's pages follow our own changes. If the file was not as we left it, somebody else has changed it too,
    // and the pages are not to be trusted after the next open.
    if (state.pages.matches(change.before) && change.hasAfter)
        state.pages = change.after.version();
    else
        state.pages.known = false;
}

Task<int> FileSystem::applyChange(InodePtr inode, AttributeChange change, Attributes &after) {
    if (change.size) {
        stateOf(*inode);
        co_await beginExclusive(inode);
    } else if (inode->file) {
        co_await settle(inode);
    }
    Heard heard = asking();
    const Result<Change> result = co_await onHandle<Change>(
        Procedure::setAttributes, inode, [&](const Handle &handle) { return m_client.setAttributes(handle, change); });
    changed(*inode);
    if (inode->file)
        noteChange(*inode->file, result.value);
    if (change.size) {
        if (result.error == 0)
            inode->file->reach = *change.size;
        inode->file->endWhileAsking = 0;
        endExclusive(inode);
    }
    if (result.error == 0 && result.value.hasAfter) {
        after = result.value.after;
        heard.attributes = after;
        inode->heard = heard;
        co_return 0;
    }
    if (result.error != 0)
        co_return result.error;
    const Result<Attributes> fetched = co_await fetchAttributes(inode);
    after = fetched.value;
    co_return fetched.error;
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
    Attributes after;
    int error = 0;
    if (change.size || change.modified) {
        error = co_await applyChange(inode, change, after);
    } else {
        const Result<Attributes> fetched = co_await recentAttributes(inode);
        error = fetched.error;
        after = fetched.value;
    }
    if (error != 0) {
        request.fail(error);
        co_return;
    }
    inode->statusChanged = currentTime();
    if (change.modified)
        inode->entriesChanged = {};
    const struct stat attributes = statOf(*inode, after);
    const double left = trustLeft(inode->heard.asked);
    request.answer([&](fuse_req_t target) { return fuse_reply_attr(target, &attributes, left); });
}

Task<void> FileSystem::preallocate(Request request, InodePtr inode, std::uint64_t end) {
    const std::shared_ptr<FileState> state = stateOf(*inode);
    co_await beginExclusive(inode);
    const int error = co_await fillGap(inode, end);
    if (error == 0)
        state->reach = std::max(state->reach, end);
    changed(*inode);
    endExclusive(inode);
    request.fail(error);
}

Task<void> FileSystem::space(Request request) {
    constexpr std::uint64_t unknown = std::uint64_t{1} << 60; // the server's -1, and its 2^62 for "no idea"
    constexpr std::uint64_t plenty = std::uint64_t{1} << 50;
    constexpr std::uint64_t block = 4096;
    const Result<SpaceResult> result = co_await onHandle<SpaceResult>(
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
    answer.f_namemax = 255;
    request.answer([&](fuse_req_t target) { return fuse_reply_statfs(target, &answer); });
}

} // namespace quillmount::mount
