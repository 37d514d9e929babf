// SPDX-License-Identifier: LicenseRef-Quillmount
#pragma once

#include "Mount/FileSystem.h"

namespace quillmount::mount {

// Makes a call with the handle of `inode`: `call` is given the handle and returns the client's task. When the server
// no longer knows the handle, the file is looked up again along its path and the call is made once more.
template <class T, class Call>
Task<Result<T>> FileSystem::onHandle(Procedure procedure, InodePtr inode, Call call) {
    Result<T> result;
    for (int attempt = 0; attempt < 2; ++attempt) {
        result.error = co_await holdHandles(inode);
        if (result.error != 0)
            co_return result;
        const Handle used = inode->handle;
        Reply<T> reply = co_await call(used);
        releaseHandle(*inode);
        result.error = errorNumber(procedure, reply);
        result.status = reply.status;
        result.repeated = result.repeated || reply.repeated;
        result.value = std::move(reply.value);
        if (!meansLostHandle(procedure, reply.ending, reply.status))
            break;
        if (inode->handle == used)
            m_table.dropHandles(*inode);
    }
    co_return result;
}

// Counts an attribute call, so that its answer, which may be older than writes confirmed meanwhile, can be put right.
class FileSystem::AttributeWatch {
public:
    explicit AttributeWatch(const InodePtr &inode)
        : m_state(inode ? inode->file : nullptr) {
        if (m_state)
            ++m_state->asking;
    }
    AttributeWatch(const AttributeWatch &) = delete;
    AttributeWatch &operator=(const AttributeWatch &) = delete;
    ~AttributeWatch() {
        if (m_state && --m_state->asking == 0)
            m_state->endWhileAsking = 0;
    }

private:
    std::shared_ptr<FileState> m_state;
};

} // namespace quillmount::mount
