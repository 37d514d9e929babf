// SPDX-License-Identifier: LicenseRef-Quillmount
#pragma once

#include "Mount/ErrorMapping.h"
#include "Mount/FileState.h"
#include "Mount/InodeTable.h"
#include "Mount/NfsClient.h"
#include "Mount/ReadAheadBudget.h"
#include "Mount/Request.h"
#include "Mount/SillyName.h"

#include <set>

namespace quillmount::mount {

// The drive as the kernel sees it: each operation of the kernel is a coroutine that makes the calls it needs and
// answers.
//
// Rules that hold everywhere:
// - A file is known by its place. Its handle is looked up again when the server no longer knows it, and the call is
// made
//   once more. While a file or folder is being renamed or removed, no call is under way with a handle in its tree.
// - What a program has written is sent behind its back and confirmed before the file counts as closed. Everything that
//   depends on the content waits for it.
// - Calls that open one file on the server take turns: reads among themselves, writes among themselves, a change of
// size
//   alone. The server does not keep them apart: a write that grows a file loses bytes when another call opens it
//   meanwhile.
// - "No such file" is only believed when the folder can be listed, for the server says so too when it has no network.
class FileSystem {
public:
    FileSystem(EventLoop &loop, NfsClient &client, EventLoop::Clock::duration deadTime);
    ~FileSystem();

    // Called with an inode's number when the kernel should drop the attributes that it remembers.
    void onStaleAttributes(std::function<void(std::uint64_t)> action) { m_staleAttributes = std::move(action); }

    NfsClient &client() { return m_client; }
    InodeTable &inodes() { return m_table; }
    EventLoop &loop() { return m_loop; }
    EventLoop::Clock::duration deadTime() const { return m_deadTime; }

    // Learns the root; gives an error number.
    Task<int> mountRoot();
    // Removes what a crash left behind of files that were unlinked while open.
    Task<void> clearLeftovers();
    // Sends everything pending, and removes the unlinked files that are still open. Ends when that is done or
    // hopeless.
    Task<void> finish();
    bool hasPending() const { return m_pendingFiles > 0 || m_background > 0; }

    Task<void> lookup(Request request, InodePtr folder, std::string name);
    Task<void> getAttributes(Request request, InodePtr inode);
    Task<void> setAttributes(Request request, InodePtr inode, struct stat wanted, int which);
    // Makes room up to `end`: the file grows to it, with zeros, and never shrinks.
    Task<void> preallocate(Request request, InodePtr inode, std::uint64_t end);
    Task<void> space(Request request);

    Task<void> makeDirectory(Request request, InodePtr folder, std::string name);
    Task<void> create(Request request, InodePtr folder, std::string name, fuse_file_info info);
    Task<void> makeFile(Request request, InodePtr folder, std::string name);
    Task<void> unlink(Request request, InodePtr folder, std::string name);
    Task<void> removeDirectory(Request request, InodePtr folder, std::string name);
    Task<void> rename(Request request, InodePtr folder, std::string name, InodePtr newFolder, std::string newName,
                      unsigned flags);

    Task<void> open(Request request, InodePtr inode, fuse_file_info info);
    Task<void> read(Request request, std::uint64_t file, std::uint64_t offset, std::size_t size);
    // Takes `bytes`, or `block` that holds them if it is not empty, before it returns.
    void write(Request request, std::uint64_t file, std::uint64_t offset, std::string_view bytes, Buffer block,
               bool fromPageCache);
    // Waits for everything written so far, has the server close the file or bring it to its disk, and tells of errors
    // that this open file was not told of.
    Task<void> flush(Request request, std::uint64_t file, NfsClient::Commit how);
    Task<void> release(Request request, std::uint64_t file);

    void openFolder(Request request, const InodePtr &inode, fuse_file_info info);
    Task<void> readFolder(Request request, std::uint64_t folder, std::uint64_t offset, std::size_t size, bool plus);
    void releaseFolder(Request request, std::uint64_t folder);

private:
    class AttributeWatch;

    // Calls by handle
    template <class T, class Call>
    Task<Result<T>> onHandle(Procedure procedure, InodePtr inode, Call call);
    Task<int> holdHandles(InodePtr inode, InodePtr other = {});
    void releaseHandle(Inode &inode);
    Task<int> findAgain(InodePtr inode);
    Task<int> confirmAbsent(InodePtr folder);
    void noteQuestion(const InodePtr &folder);
    bool isFrozen(const Inode &inode) const;
    Task<void> freeze(std::vector<InodePtr> inodes);
    void thaw(const std::vector<InodePtr> &inodes);

    // Attributes
    Task<Result<Attributes>> fetchAttributes(InodePtr inode);
    Task<Result<Attributes>> recentAttributes(InodePtr inode);
    Task<bool> answerByHandle(Request &request, InodePtr folder, InodePtr inode);
    bool isOutdated(const Inode &inode, std::uint64_t asOf) const;
    static double trustLeft(EventLoop::Moment asked);
    Attributes withPending(const Inode &inode, Attributes attributes) const;
    struct stat statOf(const Inode &inode, const Attributes &attributes) const;
    bool answerEntry(Request &request, const InodePtr &inode, const Heard &heard);
    Heard asking() { return {{}, ++m_sequence, EventLoop::Clock::now()}; }
    void noteSize(Inode &inode, const Attributes &attributes);
    Task<int> applyChange(InodePtr inode, AttributeChange change, Attributes &after);
    void noteChange(FileState &state, const Change &change);

    // Names
    int checkName(const Inode &folder, const std::string &name) const;
    Task<Result<FoundFile>> find(InodePtr folder, std::string name);
    Task<Result<FoundFile>> createOrFind(InodePtr folder, std::string name, bool exclusive);
    Task<int> moveOnServer(InodePtr folder, std::string name, InodePtr newFolder, std::string newName);
    Task<int> sillyRename(InodePtr inode);
    Task<int> removeName(InodePtr folder, std::string name, Procedure procedure);
    Task<int> removeEmptyFolder(InodePtr folder, std::string name, InodePtr target);
    Task<int> clearPlace(InodePtr folder, std::string name, InodePtr source, InodePtr target, unsigned flags);
    void nameChanged(Inode &folder, std::string_view name);
    static void entriesChanged(Inode &folder);

    static std::uint64_t millisecondsSince1970();

    // Content
    std::shared_ptr<FileState> stateOf(Inode &inode);
    std::uint64_t addOpen(const InodePtr &inode);
    void dropOpen(std::uint64_t id);
    Task<void> afterLastClose(InodePtr inode);
    Task<int> readRange(InodePtr inode, std::uint64_t offset, char *buffer, std::size_t size, std::uint64_t stream,
                        std::size_t &got);
    Task<void> beginReading(InodePtr inode);
    void endReading(const InodePtr &inode);
    Task<void> beginExclusive(InodePtr inode);
    void endExclusive(const InodePtr &inode);
    Task<int> fillGap(InodePtr inode, std::uint64_t end);
    void dropIdleLater();
    Task<void> fetchBlock(InodePtr inode, ReadAhead::BlockPtr block);
    Task<bool> answerFromBlocks(Request &request, std::vector<ReadAhead::BlockPtr> blocks, std::uint64_t offset,
                                std::size_t size);
    Task<void> finishWrite(Request request, std::shared_ptr<OpenFile> file, std::uint64_t sequence, std::size_t size,
                           bool fromPageCache);
    void changed(Inode &inode);
    void pump(const InodePtr &inode);
    Task<void> send(InodePtr inode, WriteBehind::Chunk *chunk, bool afterGap);
    Task<void> settle(InodePtr inode);
    Task<void> commit(std::shared_ptr<OpenFile> file, NfsClient::Commit how);
    static void noteError(FileState &state, int error);
    int takeError(OpenFile &file);

    Task<int> loadFolder(OpenFolder &folder);
    Task<int> loadPages(InodePtr inode, DirectorySnapshot &snapshot);
    Task<void> learnNames(InodePtr folder);

    EventLoop &m_loop;
    NfsClient &m_client;
    EventLoop::Clock::duration m_deadTime;
    InodeTable m_table;
    SillyName m_silly;
    std::uint64_t m_started;
    std::function<void(std::uint64_t)> m_staleAttributes = [](std::uint64_t) {};
    std::uint64_t m_sequence = 1;
    std::uint64_t m_nextOpen = 1;
    std::unordered_map<std::uint64_t, std::shared_ptr<OpenFile>> m_files;
    std::unordered_map<std::uint64_t, std::shared_ptr<OpenFolder>> m_folders;
    std::set<std::string> m_toldOf; // names too long to be shown
    std::set<InodePtr> m_unlinked;
    std::set<const Inode *> m_busy;
    std::vector<const Inode *> m_frozen;
    Gate m_thawed;
    Gate m_idle;
    Gate m_progress;
    ReadAheadBudget m_readAhead;
    bool m_dropArmed = false;
    std::size_t m_pendingBytes = 0;
    int m_pendingFiles = 0;
    int m_background = 0;
};

} // namespace quillmount::mount
