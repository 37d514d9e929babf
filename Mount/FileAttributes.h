// SPDX-License-Identifier: LicenseRef-Quillmount
#pragma once

#include "Mount/Handles.h"

namespace quillmount::mount {

// Asks for the attributes of files and changes them. What the server said last is kept with each inode (`heard`), and
// asked for again when it is too old or when the file was changed here since then.
class FileAttributes {
public:
    FileAttributes(Handles &handles, NfsClient &client, InodeTable &table)
        : m_handles(handles)
        , m_client(client)
        , m_table(table) {}

    // Each gives an error number; without an error, `heard` is what the server said.
    Task<int> fetch(InodePtr inode);
    // The same, without asking if what it said before can be believed.
    Task<int> refresh(InodePtr inode);
    // Changes size and time, as far as they are set. A file whose size is changed has its content (see OpenFiles).
    Task<int> change(InodePtr inode, AttributeChange change);

    // Asks by its handle whether a known file is still in its place in `folder`, which costs the server less than a
    // look-up of the name: a handle is the hash of a path. False when the name has to be looked up.
    Task<bool> isInPlace(InodePtr folder, InodePtr inode);

    // The attributes that the file will have on the server when everything written has arrived there.
    static Attributes current(const Inode &inode);
    // True when the file was changed here after the question of number `asOf`.
    static bool isOutdated(const Inode &inode, std::uint64_t asOf);
    // How long what the server said is believed if it was `asked` then, in seconds.
    static double trustLeft(std::chrono::steady_clock::time_point asked);

private:
    static void keep(Inode &inode, const Heard &heard);

    Handles &m_handles;
    NfsClient &m_client;
    InodeTable &m_table;
};

} // namespace quillmount::mount
