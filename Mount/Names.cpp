// SPDX-License-Identifier: LicenseRef-Quillmount
#include "Mount/Names.h"

#include "Mount/SillyName.h"

#include <cerrno>

namespace quillmount::mount {
namespace {

using namespace std::chrono_literals;

void entriesChanged(Inode &folder) {
    clock_gettime(CLOCK_REALTIME, &folder.entriesChanged);
}

bool isComplete(const FoundFile &made) {
    return made.hasAttributes && !made.handle.empty();
}

} // namespace

int Names::check(const Inode &folder, const std::string &name) const {
    if (name.size() > DirectorySnapshot::maxName)
        return ENAMETOOLONG;
    // Hidden files belong to programs that still hold them open; nobody reaches them by name.
    return &folder == m_table.root().get() && SillyName::isHidden(name) ? EPERM : 0;
}

void Names::nameChanged(Inode &folder, std::string_view name) {
    folder.namesChanged = m_table.nextSequence();
    if (folder.names)
        folder.names->changed(name, EventLoop::Clock::now());
}

Task<Result<InodePtr>> Names::makeFolder(InodePtr folder, std::string name) {
    Result<InodePtr> result;
    result.error = check(*folder, name);
    if (result.error != 0)
        co_return result;
    Heard heard = m_table.asking();
    Result<FoundFile> made = co_await m_handles.call<FoundFile>(
        Procedure::makeDirectory, folder, [&](const Handle &handle) { return m_client.makeDirectory(handle, name); });
    const bool doneBefore = meansDoneBefore(Procedure::makeDirectory, made.repeated, made.status);
    // Without attributes the server's success means nothing: it does not notice when it could not reach the drive.
    const bool unsure = doneBefore || (made.error == 0 && !isComplete(made.value));
    if (unsure) {
        made = co_await m_handles.find(folder, name);
        if (made.error == ENOENT)
            made.error = EIO;
    }
    if (made.error == 0 && made.value.attributes.type != FileType::directory)
        made.error = EEXIST;
    nameChanged(*folder, name);
    result.error = made.error;
    if (made.error != 0)
        co_return result;
    entriesChanged(*folder);
    const InodePtr inode = m_table.obtain(folder, name, FileType::directory, made.value.handle);
    if (!unsure) {
        // It is empty, so the names that will be made in it need not be looked for.
        inode->names = std::make_unique<KnownListing>();
        const unsigned number = inode->names->beginLearning();
        inode->names->endLearning(number, std::make_shared<DirectorySnapshot>(), heard.asked, heard.asked);
    }
    heard.attributes = made.value.attributes;
    inode->heard = heard;
    result.value = inode;
    co_return result;
}

Task<Result<FoundFile>> Names::createOrFind(InodePtr folder, std::string name, bool exclusive) {
    Result<FoundFile> made = co_await m_handles.call<FoundFile>(
        Procedure::create, folder, [&](const Handle &handle) { return m_client.create(handle, name); });
    nameChanged(*folder, name);
    const bool doneBefore = meansDoneBefore(Procedure::create, made.repeated, made.status);
    if (made.error == 0 || doneBefore)
        entriesChanged(*folder);
    const bool incomplete = made.error == 0 && !isComplete(made.value);
    if (incomplete || doneBefore || (made.error == EEXIST && !exclusive)) {
        made = co_await m_handles.find(folder, name);
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

Task<Result<InodePtr>> Names::makeFile(InodePtr folder, std::string name, bool exclusive) {
    Result<InodePtr> result;
    result.error = check(*folder, name);
    if (result.error != 0)
        co_return result;
    Heard heard = m_table.asking();
    const Result<FoundFile> made = co_await createOrFind(folder, name, exclusive);
    result.error = made.error;
    if (made.error != 0)
        co_return result;
    heard.attributes = made.value.attributes;
    result.value = m_table.obtain(folder, name, heard.attributes.type, made.value.handle);
    result.value->heard = heard;
    co_return result;
}

Task<int> Names::remove(InodePtr folder, std::string name, Procedure procedure) {
    const Result<Nothing> removed = co_await m_handles.call<Nothing>(procedure, folder, [&](const Handle &handle) {
        return procedure == Procedure::remove ? m_client.remove(handle, name) : m_client.removeDirectory(handle, name);
    });
    nameChanged(*folder, name);
    const bool doneBefore = meansDoneBefore(procedure, removed.repeated, removed.status);
    if (removed.error != 0 && !doneBefore)
        co_return removed.error;
    entriesChanged(*folder);
    if (const InodePtr inode = m_table.child(*folder, name))
        m_table.detach(*inode);
    co_return 0;
}

Task<int> Names::removeFile(InodePtr folder, std::string name) {
    const int error = co_await remove(folder, name, Procedure::remove);
    co_return error;
}

Task<int> Names::removeFolder(InodePtr folder, std::string name) {
    const InodePtr target = m_table.child(*folder, name);
    auto pause = 100ms;
    while (true) {
        const int error = co_await remove(folder, name, Procedure::removeDirectory);
        if (error != EIO || !target)
            co_return error;
        // The server has one error for everything. Programs depend on a full folder being told apart.
        const Result<DirectoryPage> page = co_await m_handles.call<DirectoryPage>(
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

// Both folders must be reachable by handle, so both are looked up again when one is lost.
Task<int> Names::move(InodePtr folder, std::string name, InodePtr newFolder, std::string newName) {
    int error = 0;
    bool repeated = false;
    for (int attempt = 0; attempt < 2; ++attempt) {
        error = co_await m_handles.hold(folder, newFolder);
        if (error != 0)
            co_return error;
        const Handle from = folder->handle;
        const Handle to = newFolder->handle;
        const Reply<Nothing> moved = co_await m_client.rename(from, name, to, newName);
        m_handles.release(*folder);
        m_handles.release(*newFolder);
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

} // namespace quillmount::mount
