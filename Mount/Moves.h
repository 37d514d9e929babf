// SPDX-License-Identifier: LicenseRef-Quillmount
#pragma once

#include "Mount/UnlinkedFiles.h"

namespace quillmount::mount {

// Removes and renames files as programs expect it: a file that is open lives on without its name, and a call that is
// under way is never led to another file.
class Moves {
public:
    Moves(Handles &handles, InodeTable &table, Names &names, UnlinkedFiles &unlinked)
        : m_handles(handles)
        , m_table(table)
        , m_names(names)
        , m_unlinked(unlinked) {}

    // Each gives an error number.
    Task<int> unlink(InodePtr folder, std::string name);
    // `flags` as in renameat2(2); only RENAME_NOREPLACE is known.
    Task<int> rename(InodePtr folder, std::string name, InodePtr newFolder, std::string newName, unsigned flags);

private:
    Task<int> clearPlace(InodePtr folder, std::string name, InodePtr source, InodePtr target, unsigned flags);

    Handles &m_handles;
    InodeTable &m_table;
    Names &m_names;
    UnlinkedFiles &m_unlinked;
};

} // namespace quillmount::mount
