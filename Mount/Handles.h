// SPDX-License-Identifier: LicenseRef-Quillmount
#pragma once

#include "Mount/ErrorMapping.h"
#include "Mount/InodeTable.h"
#include "Mount/NfsClient.h"
#include "Mount/Result.h"

#include <set>

namespace quillmount::mount {

// Makes calls with the handles of known files, and finds a handle again that the server no longer knows.
//
// - A file is known by its place. Its handle is looked up again along its path, and the call is made once more.
// - While a file or folder is frozen, because it is being renamed or removed, no call is under way with a handle in its
//   tree.
// - "No such file" is only believed when the folder can be listed, for the server says so too when it has no network.
class Handles {
public:
    Handles(NfsClient &client, InodeTable &table)
        : m_client(client)
        , m_table(table) {}

    // Asks for the handle of the root; gives an error number.
    Task<int> mountRoot();

    // Makes a call with the handle of `inode`: `call` is given the handle and returns the client's task.
    template <class T, class Call>
    Task<Result<T>> call(Procedure procedure, InodePtr inode, Call call);

    // Asks for the file of that name, with its attributes.
    Task<Result<FoundFile>> find(InodePtr folder, std::string name);

    // Waits until the handles of both are known and may be used; gives an error number. Without an error, each of them
    // is to be released.
    Task<int> hold(InodePtr inode, InodePtr other = {});
    void release(Inode &inode);

    // Waits until no call is under way in the trees of `inodes`; none begins there before they are thawed.
    Task<void> freeze(std::vector<InodePtr> inodes);
    void thaw(const std::vector<InodePtr> &inodes);

private:
    bool isFrozen(const Inode &inode) const;
    Task<int> findAgain(InodePtr inode);
    Task<int> confirmAbsent(InodePtr folder);

    NfsClient &m_client;
    InodeTable &m_table;
    std::set<const Inode *> m_busy;
    std::vector<const Inode *> m_frozen;
    Gate m_thawed;
    Gate m_idle; // opens when the last call with some handle has ended
};

template <class T, class Call>
Task<Result<T>> Handles::call(Procedure procedure, InodePtr inode, Call call) {
    Result<T> result;
    for (int attempt = 0; attempt < 2; ++attempt) {
        result.error = co_await hold(inode);
        if (result.error != 0)
            co_return result;
        const Handle used = inode->handle;
        Reply<T> reply = co_await call(used);
        release(*inode);
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

} // namespace quillmount::mount
