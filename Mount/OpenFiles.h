// SPDX-License-Identifier: LicenseRef-Quillmount
#pragma once

#include "Mount/FileReader.h"

#include <unordered_map>

namespace quillmount::mount {

// The open files of all programs, by the number that the kernel knows each one by. Makes the content of a file when it
// is first needed.
class OpenFiles {
public:
    OpenFiles(InodeTable &table, Handles &handles, NfsClient &client, PendingWork &work, FileReader &reader)
        : m_table(table)
        , m_handles(handles)
        , m_client(client)
        , m_work(work)
        , m_reader(reader) {}

    FileContent &contentOf(Inode &inode);

    std::uint64_t add(const InodePtr &inode);
    // The open file of a number, or null.
    OpenFilePtr find(std::uint64_t id) const;
    std::vector<OpenFilePtr> all() const;
    // Gives the file, which may have no other opening left; null when there is none of that number.
    InodePtr remove(std::uint64_t id);

private:
    InodeTable &m_table;
    Handles &m_handles;
    NfsClient &m_client;
    PendingWork &m_work;
    FileReader &m_reader;
    std::unordered_map<std::uint64_t, OpenFilePtr> m_files;
    std::uint64_t m_nextId = 1;
};

} // namespace quillmount::mount
