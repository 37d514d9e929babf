// SPDX-License-Identifier: LicenseRef-Quillmount
#include "Mount/FileSystem.h"

#include "Mount/HandleCall.h"

#include <linux/fs.h>

#include <cerrno>
#include <random>

namespace quillmount::mount {
namespace {

using namespace std::chrono_literals;

constexpr std::size_t longestName = 255;

std::uint64_t randomNumber() {
    static std::random_device source;
    return (std::uint64_t{source()} << 32) | source();
}

} // namespace

int FileSystem::checkName(const Inode &folder, const std::string &name) const {
    if (name.size() > longestName)
        return ENAMETOOLONG;
    // Hidden files belong to programs that still hold them open; nobody reaches them by name.
    return &folder == m_table.root().get() && SillyName::isHidden(name) ? EPERM : 0;
}

void FileSystem::nameChanged(Inode &folder, std::string_view name) {
    folder.namesChanged = ++m_sequence;
    if (folder.names)
        folder.names->changed(name, EventLoop::Clock::now());
}

void FileSystem::entriesChanged(Inode &folder) {
    clock_gettime(CLOCK_REALTIME, &folder.entriesChanged);
}

Task<void> FileSystem::makeDirectory(Request request, InodePtr folder, std::string name) {
    if (const int error = checkName(*folder, name); error != 0) {
        request.fail(error);
        co_return;
    }
    Heard heard = asking();
    Result<FoundFile> made = co_await onHandle<FoundFile>(
        Procedure::makeDirectory, folder, [&](const Handle &handle) { return m_client.makeDirectory(handle, name); });
    const bool doneBefore = meansDoneBefore(Procedure::makeDirectory, made.repeated, made.status);
    // Without attributes the server's success means nothing: it does not notice when it could not reach the drive.
    const bool unsure = doneBefore || (made.error == 0 && (!made.value.hasAttributes || made.value.handle.empty()));
    if (unsure) {
        made = co_await find(folder, name);
        if (made.error == ENOENT)
            made.error = EIO;
    }
    if (made.error == 0 && made.value.attributes.type != FileType::directory)
        made.error = EEXIST;
    nameChanged(*folder, name);
    if (made.error != 0) {
        request.fail(made.error);
        co_return;
    }
    entriesChanged(*folder);
    const InodePtr inode = m_table.obtain(folder, name, FileType::directory, made.value.handle);
    if (!unsure) {
        // It is empty, so the names that will be made in it need not be looked for.
        inode->names = std::make_unique<KnownListing>();
        const unsigned number = inode->names->beginLearning();
        inode->names->endLearning(number, std::make_shared<DirectorySnapshot>(), heard.asked, heard.asked);
    }
    heard.attributes = made.value.attributes;
    answerEntry(request, inode, heard);
}

Task<Result<FoundFile>> FileSystem::createOrFind(InodePtr folder, std::string name, bool exclusive) {
    Result<FoundFile> made = co_await onHandle<FoundFile>(
        Procedure::create, folder, [&](const Handle &handle) { return m_client.create(handle, name); });
    nameChanged(*folder, name);
    const bool doneBefore = meansDoneBefore(Procedure::create, made.repeated, made.status);
    if (made.error == 0 || doneBefore)
        entriesChanged(*folder);
    const bool incomplete = made.error == 0 && (!made.value.hasAttributes || made.value.handle.empty());
    if (incomplete || doneBefore || (made.error == EEXIST && !exclusive)) {
        made = co_await find(folder, name);
        if (incomplete && made.error == ENOENT)
            made.error = EIO;
        // The first of two equal calls may have made it, but then it is still empty.
        if (made.error == 0 && doneBefore && exclusive && made.value.attributes.size != 0)
            made.error = EEXIST;
    }
    if (made.error == 0 && made.value.attributes.type == FileType::directory)
        made.error = EISDIR;
    co_return made;
}

Task<void> FileSystem::create(Request request, InodePtr folder, std::string name, fuse_file_info info) {
    if (const int error = checkName(*folder, name); error != 0) {
        request.fail(error);
        co_return;
    }
    Heard heard = asking();
    Result<FoundFile> made = co_await createOrFind(folder, name, (info.flags & O_EXCL) != 0);
    if (made.error != 0) {
        request.fail(made.error);
        co_return;
    }
    const InodePtr inode = m_table.obtain(folder, name, made.value.attributes.type, made.value.handle);
    info.fh = addOpen(inode);
    FileState &state = *inode->file;
    heard.attributes = made.value.attributes;
    inode->heard = heard;
    if ((info.flags & O_TRUNC) != 0 && made.value.attributes.size != 0) {
        AttributeChange change;
        change.size = 0;
        made.error = co_await applyChange(inode, change, made.value.attributes);
    }
    if (state.pending.isEmpty() && !state.pages.matches(made.value.attributes.version()))
        state.pages = made.value.attributes.version();
    else
        info.keep_cache = 1;
    fuse_entry_param entry{};
    entry.ino = inode->id();
    entry.generation = 1;
    entry.attr = statOf(*inode, withPending(*inode, made.value.attributes));
    entry.attr_timeout = entry.entry_timeout = trustLeft(inode->heard.asked);
    m_table.addLookup(inode);
    if (made.error != 0)
        request.fail(made.error);
    if (made.error != 0 ||
        !request.answer([&](fuse_req_t target) { return fuse_reply_create(target, &entry, &info); })) {
        m_table.forget(inode->id(), 1);
        dropOpen(info.fh);
    }
}

Task<void> FileSystem::makeFile(Request request, InodePtr folder, std::string name) {
    if (const int error = checkName(*folder, name); error != 0) {
        request.fail(error);
        co_return;
    }
    Heard heard = asking();
    const Result<FoundFile> made = co_await createOrFind(folder, name, true);
    if (made.error != 0) {
        request.fail(made.error);
        co_return;
    }
    const InodePtr inode = m_table.obtain(folder, name, made.value.attributes.type, made.value.handle);
    heard.attributes = made.value.attributes;
    answerEntry(request, inode, heard);
}

Task<int> FileSystem::removeName(InodePtr folder, std::string name, Procedure procedure) {
    const Result<Nothing> removed = co_await onHandle<Nothing>(procedure, folder, [&](const Handle &handle) {
        return procedure == Procedure::remove ? m_client.remove(handle, name) : m_client.removeDirectory(handle, name);
    });
    nameChanged(*folder, name);
    const bool doneBefore = meansDoneBefore(procedure, removed.repeated, removed.status);
    if (removed.error != 0 && !doneBefore)
        co_return removed.error;
    entriesChanged(*folder);
    if (const InodePtr inode = m_table.child(*folder, name)) {
        m_unlinked.erase(inode);
        m_table.detach(*inode);
    }
    co_return 0;
}

// Renames on the server. Both folders must be reachable by handle, so both are looked up again when one is lost.
Task<int> FileSystem::moveOnServer(InodePtr folder, std::string name, InodePtr newFolder, std::string newName) {
    int error = 0;
    bool repeated = false;
    for (int attempt = 0; attempt < 2; ++attempt) {
        error = co_await holdHandles(folder, newFolder);
        if (error != 0)
            co_return error;
        const Handle from = folder->handle;
        const Handle to = newFolder->handle;
        const Reply<Nothing> moved = co_await m_client.rename(from, name, to, newName);
        releaseHandle(*folder);
        releaseHandle(*newFolder);
        repeated = repeated || moved.repeated;
        error = errorNumber(Procedure::rename, moved);
        nameChanged(*folder, name);
        nameChanged(*newFolder, newName);
        if (error == 0 || meansDoneBefore(Procedure::rename, repeated, moved.status)) {
            entriesChanged(*folder);
            entriesChanged(*newFolder);
            co_return 0;
        }
        if (!meansLostHandle(Procedure::rename, moved.ending, moved.status))
            break;
        if (folder->handle == from)
            m_table.dropHandles(*folder);
        if (newFolder->handle == to)
            m_table.dropHandles(*newFolder);
    }
    co_return error;
}

// Lets an open file live on under a hidden name. The caller has frozen it.
Task<int> FileSystem::sillyRename(InodePtr inode) {
    const std::string hidden = m_silly.make(millisecondsSince1970(), randomNumber());
    const int error = co_await moveOnServer(inode->parent(), inode->name(), m_table.root(), hidden);
    if (error == 0)
        m_table.move(inode, m_table.root(), hidden);
    co_return error;
}

Task<void> FileSystem::unlink(Request request, InodePtr folder, std::string name) {
    const InodePtr target = m_table.child(*folder, name);
    int error = 0;
    if (target) {
        const std::vector<InodePtr> frozen{target};
        co_await freeze(frozen);
        if (target->opens > 0) {
            error = co_await sillyRename(target);
            if (error == 0) {
                target->unlinked = true;
                m_unlinked.insert(target);
            }
        } else {
            error = co_await removeName(folder, name, Procedure::remove);
        }
        thaw(frozen);
        // The last close may have happened while the file was being renamed.
        if (target->unlinked && target->opens == 0)
            spawn(afterLastClose(target));
    } else {
        error = co_await removeName(folder, name, Procedure::remove);
    }
    request.fail(error);
}

Task<int> FileSystem::removeEmptyFolder(InodePtr folder, std::string name, InodePtr target) {
    auto pause = 100ms;
    while (true) {
        const int error = co_await removeName(folder, name, Procedure::removeDirectory);
        if (error != EIO || !target)
            co_return error;
        // The server has one error for everything. Programs depend on a full folder being told apart.
        const Result<DirectoryPage> page = co_await onHandle<DirectoryPage>(
            Procedure::list, target, [&](const Handle &handle) { return m_client.peek(handle); });
        constexpr std::size_t ownNames = 2; // "." and ".."
        if (page.error != 0)
            co_return error;
        if (page.value.entries.size() > ownNames)
            co_return ENOTEMPTY;
        // Nothing is in it any more, but the server may still be busy with a file that has just been removed.
        if (pause > 1s)
            co_return error;
        co_await m_loop.sleep(pause);
        pause *= 2;
    }
}

Task<void> FileSystem::removeDirectory(Request request, InodePtr folder, std::string name) {
    const int error = co_await removeEmptyFolder(folder, name, m_table.child(*folder, name));
    request.fail(error);
}

// Makes room for a rename at its destination, as far as the server would not do it as programs expect.
Task<int> FileSystem::clearPlace(InodePtr folder, std::string name, InodePtr source, InodePtr target, unsigned flags) {
    if ((flags & RENAME_NOREPLACE) != 0) {
        const Result<FoundFile> found = co_await find(folder, name);
        if (found.error != ENOENT)
            co_return found.error == 0 ? EEXIST : found.error;
        co_return 0;
    }
    if (!target)
        co_return 0;
    if (target->isDirectory() && (!source || source->isDirectory()))
        co_return co_await removeEmptyFolder(folder, name, target);
    if (target->opens > 0)
        co_return co_await sillyRename(target);
    co_return 0;
}

Task<void> FileSystem::rename(Request request, InodePtr folder, std::string name, InodePtr newFolder,
                              std::string newName, unsigned flags) {
    int error = (flags & ~static_cast<unsigned>(RENAME_NOREPLACE)) != 0 ? EINVAL : checkName(*newFolder, newName);
    if (error != 0) {
        request.fail(error);
        co_return;
    }
    const InodePtr source = m_table.child(*folder, name);
    const InodePtr target = m_table.child(*newFolder, newName);
    std::vector<InodePtr> frozen;
    if (source)
        frozen.push_back(source);
    // A folder that is replaced is empty, and is asked about while it is being removed.
    if (target && !target->isDirectory())
        frozen.push_back(target);
    co_await freeze(frozen);
    error = co_await clearPlace(newFolder, newName, source, target, flags);
    const bool setAside =
        error == 0 && target && target->parent() == m_table.root() && SillyName::isHidden(target->name());
    if (error == 0)
        error = co_await moveOnServer(folder, name, newFolder, newName);
    if (error == 0) {
        if (source)
            m_table.move(source, newFolder, newName);
        else if (const InodePtr occupant = m_table.child(*newFolder, newName))
            m_table.detach(*occupant);
    }
    if (setAside && error == 0) {
        target->unlinked = true;
        m_unlinked.insert(target);
    } else if (setAside) {
        // What was to be replaced goes back to its place.
        const int putBack = co_await moveOnServer(m_table.root(), target->name(), newFolder, newName);
        if (putBack == 0)
            m_table.move(target, newFolder, newName);
    }
    thaw(frozen);
    if (target && target->unlinked && target->opens == 0)
        spawn(afterLastClose(target));
    request.fail(error);
}

} // namespace quillmount::mount
