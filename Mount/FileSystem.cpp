// SPDX-License-Identifier: LicenseRef-Quillmount
#include "Mount/FileSystem.h"

#include "Mount/HandleCall.h"

#include <algorithm>
#include <cerrno>

namespace quillmount::mount {

using namespace std::chrono_literals;

FileSystem::FileSystem(EventLoop &loop, NfsClient &client, EventLoop::Clock::duration deadTime)
    : m_loop(loop)
    , m_client(client)
    , m_deadTime(deadTime)
    , m_silly(machineTag())
    , m_started(millisecondsSince1970()) {}

std::uint64_t FileSystem::millisecondsSince1970() {
    const auto now = std::chrono::system_clock::now().time_since_epoch();
    return static_cast<std::uint64_t>(std::chrono::duration_cast<std::chrono::milliseconds>(now).count());
}

FileSystem::~FileSystem() = default;

Task<int> FileSystem::mountRoot() {
    const Reply<Handle> reply = co_await m_client.mountRoot();
    const int error = errorNumber(Procedure::mount, reply);
    if (error == 0)
        m_table.root()->handle = reply.value;
    co_return error;
}

bool FileSystem::isFrozen(const Inode &inode) const {
    return std::any_of(m_frozen.begin(), m_frozen.end(),
                       [&](const Inode *frozen) { return inode.isBelowOrSame(*frozen); });
}

// Both are counted in one step: who counted one and then waited for the other would keep a rename of the first one's
// tree from beginning, which may be what the other waits for.
Task<int> FileSystem::holdHandles(InodePtr inode, InodePtr other) {
    while (true) {
        while (isFrozen(*inode) || (other && isFrozen(*other)))
            co_await m_thawed.wait();
        if (inode->isGone() || (other && other->isGone()))
            co_return ESTALE;
        const InodePtr lost = inode->handle.empty() ? inode : other && other->handle.empty() ? other : nullptr;
        if (!lost)
            break;
        const int error = co_await findAgain(lost);
        if (error != 0)
            co_return error;
    }
    for (const InodePtr &held : {inode, other}) {
        if (held && held->busy++ == 0)
            m_busy.insert(held.get());
    }
    co_return 0;
}

void FileSystem::releaseHandle(Inode &inode) {
    if (--inode.busy == 0) {
        m_busy.erase(&inode);
        m_idle.open();
    }
}

Task<int> FileSystem::findAgain(InodePtr inode) {
    const InodePtr folder = inode->parent();
    if (!folder) {
        if (inode != m_table.root())
            co_return ESTALE;
        const int error = co_await mountRoot();
        co_return error;
    }
    const std::string name = inode->name();
    const Result<FoundFile> found = co_await find(folder, name);
    if (found.error != 0)
        co_return found.error == ENOENT ? ESTALE : found.error;
    if (found.value.attributes.type != inode->type())
        co_return ESTALE;
    // It may have been moved while the answer was on its way; then the next round looks at the new place.
    if (inode->parent() == folder && inode->name() == name)
        inode->handle = found.value.handle;
    co_return 0;
}

Task<void> FileSystem::freeze(std::vector<InodePtr> inodes) {
    for (const InodePtr &inode : inodes)
        m_frozen.push_back(inode.get());
    const auto disturbs = [&](const Inode *busy) {
        return std::any_of(inodes.begin(), inodes.end(),
                           [&](const InodePtr &inode) { return busy->isBelowOrSame(*inode); });
    };
    while (std::any_of(m_busy.begin(), m_busy.end(), disturbs))
        co_await m_idle.wait();
}

void FileSystem::thaw(const std::vector<InodePtr> &inodes) {
    for (const InodePtr &inode : inodes)
        m_frozen.erase(std::find(m_frozen.begin(), m_frozen.end(), inode.get()));
    m_thawed.open();
}

Task<Result<FoundFile>> FileSystem::find(InodePtr folder, std::string name) {
    Result<FoundFile> found = co_await onHandle<FoundFile>(
        Procedure::lookup, folder, [&](const Handle &handle) { return m_client.lookup(handle, name); });
    if (found.error == ENOENT) {
        const int error = co_await confirmAbsent(folder);
        found.error = error != 0 ? error : ENOENT;
    }
    if (found.error == 0 && !found.value.hasAttributes) {
        const Reply<Attributes> attributes = co_await m_client.getAttributes(found.value.handle);
        found.error = errorNumber(Procedure::getAttributes, attributes);
        found.value.attributes = attributes.value;
        found.value.hasAttributes = true;
    }
    co_return found;
}

Task<int> FileSystem::confirmAbsent(InodePtr folder) {
    // A folder that could be listed a moment ago is not asked again for each of the many names that programs try.
    constexpr auto trust = 1500ms;
    if (EventLoop::Clock::now() - folder->listed < trust)
        co_return 0;
    const Result<DirectoryPage> page = co_await onHandle<DirectoryPage>(
        Procedure::list, folder, [&](const Handle &handle) { return m_client.peek(handle); });
    if (page.error == 0)
        folder->listed = EventLoop::Clock::now();
    co_return page.error;
}

// When a program asks for the names of a folder one by one, listing it all is cheaper in the end.
void FileSystem::noteQuestion(const InodePtr &folder) {
    if (!folder->names)
        folder->names = std::make_unique<KnownListing>();
    if (folder->names->isWorthLearning(folder->childCount(), EventLoop::Clock::now()))
        spawn(learnNames(folder));
}

Task<void> FileSystem::learnNames(InodePtr folder) {
    OpenFolder listing;
    listing.inode = folder;
    co_await loadFolder(listing); // an error shows at the question that is asked anyway
}

Task<void> FileSystem::clearLeftovers() {
    ++m_background;
    OpenFolder root;
    root.inode = m_table.root();
    const int error = co_await loadFolder(root);
    if (error == 0) {
        for (const auto &entry : root.listing->entries()) {
            const bool inUse = m_table.child(*m_table.root(), entry.name) != nullptr;
            if (m_silly.isLeftover(entry.name, m_started) && !inUse)
                co_await removeName(m_table.root(), entry.name, Procedure::remove);
        }
    }
    --m_background;
    m_progress.open();
}

Task<void> FileSystem::finish() {
    const auto files = m_files;
    for (const auto &[id, file] : files)
        co_await commit(file, NfsClient::Commit::close);
    while (hasPending() && !m_client.isGone() && !m_client.isDead())
        co_await m_progress.wait();
    const std::set<InodePtr> unlinked = m_unlinked;
    for (const InodePtr &inode : unlinked) {
        const std::string name = inode->name();
        co_await removeName(m_table.root(), name, Procedure::remove);
    }
}

} // namespace quillmount::mount
