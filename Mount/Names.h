// SPDX-License-Identifier: LicenseRef-Quillmount
#pragma once

#include "Mount/Handles.h"

namespace quillmount::mount {

// Makes, moves and removes names on the server, and keeps the tree of known files in step. A call that was repeated
// after its connection was lost counts as done when the server says that it was.
class Names {
public:
    Names(EventLoop &loop, Handles &handles, NfsClient &client, InodeTable &table)
        : m_loop(loop)
        , m_handles(handles)
        , m_client(client)
        , m_table(table) {}

    // The error number for a name that cannot be given to a file; 0 for all others.
    int check(const Inode &folder, const std::string &name) const;

    // Each gives the new file, with its attributes in `heard`.
    Task<Result<InodePtr>> makeFolder(InodePtr folder, std::string name);
    // Makes a file. An existing one is given, unchanged, unless the file is to be made exclusively.
    Task<Result<InodePtr>> makeFile(InodePtr folder, std::string name, bool exclusive);

    // Each gives an error number.
    Task<int> removeFile(InodePtr folder, std::string name);
    Task<int> removeFolder(InodePtr folder, std::string name);
    // Moves a name on the server alone; the tree is left to whoever calls.
    Task<int> move(InodePtr folder, std::string name, InodePtr newFolder, std::string newName);

private:
    Task<Result<FoundFile>> createOrFind(InodePtr folder, std::string name, bool exclusive);
    Task<int> remove(InodePtr folder, std::string name, Procedure procedure);
    void nameChanged(Inode &folder, std::string_view name);

    EventLoop &m_loop;
    Handles &m_handles;
    NfsClient &m_client;
    InodeTable &m_table;
};

} // namespace quillmount::mount
