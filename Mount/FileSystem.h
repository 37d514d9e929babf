// SPDX-License-Identifier: LicenseRef-Quillmount
#pragma once

#include "Mount/FileAttributes.h"
#include "Mount/Moves.h"
#include "Mount/OpenFiles.h"
#include "Mount/OpenFolders.h"

namespace quillmount::mount {

// The drive as the kernel sees it: takes each of the kernel's requests, has the classes below do the work, and answers.
//
//   Handles        calls with the handles of known files
//   FileAttributes what the server said of a file      FileContent    what is written and not confirmed, one per file
//   Names          names on the server                 FileReader     reading, also ahead
//   Listings       the names of a folder               OpenFiles      what programs have open
//   Moves          removing and renaming               OpenFolders    folders that programs are reading
//   UnlinkedFiles  open files without a name           PendingWork    what must be done before the program may end
class FileSystem {
public:
    FileSystem(EventLoop &loop, NfsClient &client);

    // Called with an inode's number when the kernel should drop the attributes that it remembers.
    void onStaleAttributes(std::function<void(std::uint64_t)> action) { m_staleAttributes = std::move(action); }

    // The file of a number that the kernel gave; null for one that it was never told.
    InodePtr find(std::uint64_t id) const { return m_table.find(id); }
    // The kernel takes back `count` of what it was told of a file.
    void forget(std::uint64_t id, std::uint64_t count) { m_table.forget(id, count); }

    // Learns the root, and asks for its attributes; gives an error number.
    Task<int> mountRoot();
    // Removes what a crash left behind of files that were unlinked while open.
    Task<void> clearLeftovers();
    // Sends everything pending, and removes the unlinked files that are still open. Ends when that is done or
    // hopeless.
    Task<void> finish();

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
    bool answerEntry(Request &request, const InodePtr &inode);
    void answerAttributes(Request &request, const Inode &inode);
    bool answerFromListing(Request &request, const InodePtr &folder, const std::string &name, bool &absent);
    Task<void> answerAccepted(Request request, OpenFilePtr file, std::uint64_t sequence, std::size_t size,
                              bool fromPageCache);
    void close(std::uint64_t file);

    NfsClient &m_client;
    InodeTable m_table;
    PendingWork m_work;
    Handles m_handles;
    FileAttributes m_attributes;
    FileReader m_reader;
    OpenFiles m_files;
    Names m_names;
    Listings m_listings;
    UnlinkedFiles m_unlinked;
    Moves m_moves;
    OpenFolders m_folders;
    std::function<void(std::uint64_t)> m_staleAttributes = [](std::uint64_t) {};
};

} // namespace quillmount::mount
