// SPDX-License-Identifier: LicenseRef-Quillmount
#pragma once

#include "Mount/Handles.h"
#include "Mount/OpenFile.h"
#include "Mount/PendingWork.h"
#include "Mount/PendingWrites.h"
#include "Mount/Turns.h"

#include <set>

namespace quillmount::mount {

// The content of one file for as long as its inode lives: what was written and is not confirmed yet, whose turn it is,
// and the errors that programs are still to be told of.
//
// - What a program has written is sent behind its back and confirmed before the file counts as closed. Everything that
//   depends on the content waits for it (`settle`).
// - Calls that open the file on the server take turns: reads among themselves, writes among themselves, a change of
//   size alone. The server does not keep them apart: a write that grows a file loses bytes when another call opens it
//   meanwhile.
//
// It belongs to its inode; whoever calls one of its tasks holds the inode until the task begins.
class FileContent {
public:
    FileContent(Inode &inode, InodeTable &table, Handles &handles, NfsClient &client, PendingWork &work)
        : m_inode(inode)
        , m_table(table)
        , m_handles(handles)
        , m_client(client)
        , m_work(work) {}
    FileContent(const FileContent &) = delete;
    FileContent &operator=(const FileContent &) = delete;

    // `file` is open from now on; it is told of the errors that come after this.
    void addOpen(OpenFile &file);
    void removeOpen(OpenFile &file) { m_opened.erase(&file); }

    // Takes bytes, or `block` that holds them if it is not empty. Gives the number by which `accepted` awaits them.
    std::uint64_t write(OpenFile &file, std::uint64_t offset, std::string_view bytes, Buffer block);
    // Waits until the program may go on after it has written; gives an error number. Bytes that come from the kernel's
    // page cache have reached the server by then.
    Task<int> accepted(std::uint64_t sequence, bool fromPageCache);
    // Waits until what was written so far is confirmed or given up.
    Task<void> settle();
    // Settles what was written, and has the server close the file or bring it to its disk.
    Task<void> commit(OpenFilePtr file, NfsClient::Commit how);
    // The error number that this open file is to be told, once; 0 for none.
    int takeError(OpenFile &file) const;

    // Reads with one or more calls; gives how many bytes there are. `stream` as in NfsClient::read.
    Task<Result<std::size_t>> read(std::uint64_t offset, char *buffer, std::size_t size, std::uint64_t stream);

    // Changes the size, and the time if that is wanted too.
    Task<Result<Change>> changeSize(AttributeChange change);
    // Changes the time after everything that was written.
    Task<Result<Change>> changeTime(AttributeChange change);
    // Makes room up to `end`: the file grows to it, with zeros, and never shrinks. Gives an error number.
    Task<int> growTo(std::uint64_t end);

    // The attributes that the file will have on the server when everything has arrived there.
    Attributes expected(Attributes heard) const;
    // The server gave these attributes.
    void noteAttributes(const Attributes &attributes);
    // The size as last heard; for reading ahead only.
    std::uint64_t knownSize() const { return m_size; }
    bool hasPending() const { return !m_pending.isEmpty(); }
    // True if the kernel may keep the pages that it has of the file, which was opened with this version. If not, what
    // was read ahead is dropped as well.
    bool keepsPages(const Version &version);

    // Counts an attribute call, so that its answer, which may be older than writes confirmed meanwhile, can be put
    // right.
    class AttributeCall {
    public:
        explicit AttributeCall(const InodePtr &inode);
        AttributeCall(const AttributeCall &) = delete;
        AttributeCall &operator=(const AttributeCall &) = delete;
        ~AttributeCall();

    private:
        std::shared_ptr<FileContent> m_content;
    };

private:
    Task<void> beginReading();
    void endReading();
    Task<void> beginChange();
    void endChange();
    Task<Result<Change>> sendChange(AttributeChange change);
    Task<int> fillGap(std::uint64_t end);
    void pump();
    Task<void> send(PendingWrites::Chunk *chunk, bool afterGap);
    void changed();
    void noteChange(const Change &change);
    void noteError(int error);

    Inode &m_inode;
    InodeTable &m_table;
    Handles &m_handles;
    NfsClient &m_client;
    PendingWork &m_work;
    PendingWrites m_pending;
    Turns m_turns;
    Gate m_settled;                     // opens when pending bytes were confirmed or given up, and when a turn ends
    Version m_pages;                    // the version that the kernel's page cache holds
    std::uint64_t m_size = 0;           // see knownSize
    std::uint64_t m_reach = 0;          // the end of the file on the server once everything sent has arrived
    timespec m_written{};               // when a program wrote last
    int m_attributeCalls = 0;           // under way
    std::uint64_t m_endWhileAsking = 0; // how far writes reached that were confirmed during such calls
    std::uint64_t m_errors = 0;         // how many writes the server refused
    int m_lastError = 0;
    std::set<OpenFile *> m_opened;
};

} // namespace quillmount::mount
