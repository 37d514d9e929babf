// SPDX-License-Identifier: LicenseRef-Quillmount
#include "Mount/Handles.h"

#include <algorithm>
#include <cerrno>

namespace quillmount::mount {

using namespace std::chrono_literals;

Task<int> Handles::mountRoot() {
    const Reply<Handle> reply = co_await m_client.mountRoot();
    const int error = errorNumber(Procedure::mount, reply);
    if (error == 0)
        m_table.root()->handle = reply.value;
    co_return error;
}

bool Handles::isFrozen(const Inode &inode) const {
    return std::any_of(m_frozen.begin(), m_frozen.end(),
                       [&](const Inode *frozen) { return inode.isBelowOrSame(*frozen); });
}

// Both are counted in one step: who counted one and then waited for the other would keep a rename of the first one's
// tree from beginning, which may be what the other waits for.
Task<int> Handles::hold(InodePtr inode, InodePtr other) {
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

void Handles::release(Inode &inode) {
    if (--inode.busy == 0) {
        m_busy.erase(&inode);
        m_idle.open();
    }
}

Task<int> Handles::findAgain(InodePtr inode) {
    const InodePtr folder = inode->parent();
    if (!folder) {
        if (inode != m_table.root())
            co_return ESTALE;
        const int error = co_await mountRoot();
        co_return error;
    }
    const std::string name = inode->name();
    const Result<FoundFile> found = co_await find(folder, name);
    // Whatever the answer says, it may have been moved meanwhile, or a move may be under way that the server has made
    // already. The next round waits for that and looks at the new place.
    if (isFrozen(*inode) || inode->parent() != folder || inode->name() != name)
        co_return 0;
    if (found.error != 0)
        co_return found.error == ENOENT ? ESTALE : found.error;
    if (found.value.attributes.type != inode->type())
        co_return ESTALE;
    inode->handle = found.value.handle;
    co_return 0;
}

Task<void> Handles::freeze(std::vector<InodePtr> inodes) {
    for (const InodePtr &inode : inodes)
        m_frozen.push_back(inode.get());
    const auto disturbs = [&](const Inode *busy) {
        return std::any_of(inodes.begin(), inodes.end(),
                           [&](const InodePtr &inode) { return busy->isBelowOrSame(*inode); });
    };
    while (std::any_of(m_busy.begin(), m_busy.end(), disturbs))
        co_await m_idle.wait();
}

void Handles::thaw(const std::vector<InodePtr> &inodes) {
    for (const InodePtr &inode : inodes)
        m_frozen.erase(std::find(m_frozen.begin(), m_frozen.end(), inode.get()));
    m_thawed.open();
}

Task<Result<FoundFile>> Handles::find(InodePtr folder, std::string name) {
    Result<FoundFile> found = co_await call<FoundFile>(
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

Task<int> Handles::confirmAbsent(InodePtr folder) {
    // A folder that could be listed a moment ago is not asked again for each of the many names that programs try.
    constexpr auto trust = 1500ms;
    if (EventLoop::Clock::now() - folder->listed < trust)
        co_return 0;
    const Result<DirectoryPage> page = co_await call<DirectoryPage>(
        Procedure::list, folder, [&](const Handle &handle) { return m_client.peek(handle); });
    if (page.error == 0)
        folder->listed = EventLoop::Clock::now();
    co_return page.error;
}

} // namespace quillmount::mount
