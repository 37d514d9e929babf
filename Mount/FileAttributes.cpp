// SPDX-License-Identifier: LicenseRef-Quillmount
#include "Mount/FileAttributes.h"

#include "Mount/FileContent.h"
#include "Mount/KnownListing.h"

#include <algorithm>
#include <cerrno>

namespace quillmount::mount {

double FileAttributes::trustLeft(std::chrono::steady_clock::time_point asked) {
    const std::chrono::duration<double> left = asked + KnownListing::trust - EventLoop::Clock::now();
    return std::max(left.count(), 0.0);
}

Attributes FileAttributes::current(const Inode &inode) {
    return inode.content ? inode.content->expected(inode.heard.attributes) : inode.heard.attributes;
}

bool FileAttributes::isOutdated(const Inode &inode, std::uint64_t asOf) {
    return inode.changed > asOf || (inode.content && inode.content->hasPending());
}

// While the call is counted: writes that were confirmed since it began, which its answer may not know, count only then.
void FileAttributes::keep(Inode &inode, const Heard &heard) {
    inode.heard = heard;
    inode.heard.attributes = current(inode);
}

Task<int> FileAttributes::fetch(InodePtr inode) {
    const FileContent::AttributeCall counted(inode);
    Heard heard = m_table.asking();
    const Result<Attributes> result = co_await m_handles.call<Attributes>(
        Procedure::getAttributes, inode, [&](const Handle &handle) { return m_client.getAttributes(handle); });
    if (result.error != 0)
        co_return result.error;
    if (result.value.type != inode->type())
        co_return ESTALE;
    heard.attributes = result.value;
    keep(*inode, heard);
    if (inode->content)
        inode->content->noteAttributes(inode->heard.attributes);
    co_return 0;
}

Task<int> FileAttributes::refresh(InodePtr inode) {
    const Heard &heard = inode->heard;
    const bool believed = heard.asOf > 0 && !isOutdated(*inode, heard.asOf) && trustLeft(heard.asked) > 0;
    if (!believed || inode->handle.empty()) {
        const int error = co_await fetch(inode);
        co_return error;
    }
    if (inode->content)
        inode->content->noteAttributes(heard.attributes);
    co_return 0;
}

Task<bool> FileAttributes::isInPlace(InodePtr folder, InodePtr inode) {
    if (inode->handle.empty())
        co_return false;
    const FileContent::AttributeCall counted(inode);
    Heard heard = m_table.asking();
    const std::string name = inode->name();
    const int error = co_await m_handles.hold(inode);
    if (error != 0)
        co_return false;
    const Reply<Attributes> reply = co_await m_client.getAttributes(inode->handle);
    m_handles.release(*inode);
    const bool inPlace = inode->parent() == folder && inode->name() == name && reply.value.type == inode->type();
    if (errorNumber(Procedure::getAttributes, reply) != 0 || !inPlace)
        co_return false;
    heard.attributes = reply.value;
    keep(*inode, heard);
    co_return true;
}

Task<int> FileAttributes::change(InodePtr inode, AttributeChange change) {
    Heard heard = m_table.asking();
    Result<Change> result;
    if (change.size) {
        result = co_await inode->content->changeSize(change);
    } else if (inode->content) {
        result = co_await inode->content->changeTime(change);
    } else {
        result = co_await m_handles.call<Change>(Procedure::setAttributes, inode, [&](const Handle &handle) {
            return m_client.setAttributes(handle, change);
        });
        inode->changed = m_table.nextSequence();
    }
    if (result.error != 0)
        co_return result.error;
    if (!result.value.hasAfter) {
        const int error = co_await fetch(inode);
        co_return error;
    }
    heard.attributes = result.value.after;
    inode->heard = heard;
    co_return 0;
}

} // namespace quillmount::mount
