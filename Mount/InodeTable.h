// SPDX-License-Identifier: LicenseRef-Quillmount
#pragma once

#include "Mount/KnownListing.h"
#include "Mount/NfsTypes.h"

#include <chrono>
#include <map>
#include <memory>
#include <string_view>
#include <unordered_map>
#include <unordered_set>

namespace quillmount::mount {

class FileContent;
class InodeTable;

// What the server said last of a file's attributes.
struct Heard {
    Attributes attributes;
    std::uint64_t asOf = 0; // the sequence number at which it was asked
    std::chrono::steady_clock::time_point asked{};
};

// One file or folder that the kernel, or a call in progress, knows. It is known by its place in the tree, not by the
// server's handle: a handle is the hash of a path, so a rename changes it, and the old one may come to name another
// file.
class Inode : public std::enable_shared_from_this<Inode> {
public:
    Inode(InodeTable &table, std::uint64_t id, FileType type);
    ~Inode();
    Inode(const Inode &) = delete;
    Inode &operator=(const Inode &) = delete;

    std::uint64_t id() const { return m_id; }
    // What programs see as the inode number; unique among the files that are known at one time.
    std::uint64_t number() const { return m_number; }
    FileType type() const { return m_type; }
    bool isDirectory() const { return m_type == FileType::directory; }
    const std::shared_ptr<Inode> &parent() const { return m_parent; }
    const std::string &name() const { return m_name; }
    // True once the file was removed or replaced: it has no place any more.
    bool isGone() const { return m_gone; }
    bool isBelowOrSame(const Inode &other) const;
    // How many names in this folder are known.
    std::size_t childCount() const { return m_children.size(); }

    Handle handle;
    // The sequence number of the last change made here; answers that are older say nothing about the file.
    std::uint64_t changed = 0;
    // For a folder: the sequence number of the last change of its names made here, and when it was last seen to be
    // listed.
    std::uint64_t namesChanged = 0;
    std::chrono::steady_clock::time_point listed{};
    // For a folder: what is known of its names; null until that matters.
    std::unique_ptr<KnownListing> names;
    Heard heard;
    // When anything but the content was changed here last, which the server does not keep.
    timespec statusChanged{};
    // For a folder: when a name was made or removed here last. The server is not asked for the time each time.
    timespec entriesChanged{};
    // Handle calls in progress.
    int busy = 0;
    // True for a file that lives on under a hidden name because it was unlinked while open.
    bool unlinked = false;
    // Open files on it.
    int opens = 0;
    // The content, from the first opening on; null before.
    std::shared_ptr<FileContent> content;

private:
    friend class InodeTable;

    InodeTable &m_table;
    std::uint64_t m_id;
    std::uint64_t m_number = 0;
    std::uint64_t m_lookups = 0;
    FileType m_type;
    bool m_gone = false;
    std::shared_ptr<Inode> m_parent;
    std::string m_name;
    std::map<std::string_view, Inode *> m_children;
};

using InodePtr = std::shared_ptr<Inode>;

// The tree of known files, and the numbers under which the kernel knows them.
class InodeTable {
public:
    InodeTable();
    ~InodeTable();

    const InodePtr &root() const { return m_root; }
    // Questions to the server and changes made here are numbered in their order, so that an answer is not believed that
    // is older than a change.
    std::uint64_t nextSequence() { return ++m_sequence; }
    // A question that is asked now; the answer is to be filled in.
    Heard asking() { return {{}, nextSequence(), std::chrono::steady_clock::now()}; }
    // The file of a number that the kernel gave; null for one that it was never told.
    InodePtr find(std::uint64_t id) const;
    // The known file of that name, or null.
    InodePtr child(const Inode &folder, std::string_view name) const;
    // The file of that name, made if it is not known, with `handle` as its handle. One that is known with another
    // type has been replaced behind our back and loses its place.
    InodePtr obtain(const InodePtr &folder, std::string_view name, FileType type, const Handle &handle);

    // The kernel was told of `inode` once more.
    void addLookup(const InodePtr &inode);
    // The kernel takes back `count` of what it was told.
    void forget(std::uint64_t id, std::uint64_t count);

    // Gives `inode` a new place. Whatever was known there loses its place; every handle in the moved tree is dropped.
    void move(const InodePtr &inode, const InodePtr &folder, std::string_view name);
    // Takes its place from `inode`.
    void detach(Inode &inode);
    // Drops the handles on the way from the root to `inode`, so that they are looked up again. The root's own handle
    // is dropped only when it is the one that failed.
    void dropHandles(Inode &inode);

    std::size_t size() const { return m_known.size(); }

private:
    friend class Inode;

    void takePlace(const InodePtr &inode, const InodePtr &folder, std::string_view name);
    void leavePlace(Inode &inode);
    static void dropHandle(Inode &inode);
    static void dropTree(Inode &inode);
    std::uint64_t numberFor(const Handle &handle);

    std::unordered_map<std::uint64_t, InodePtr> m_known;
    std::unordered_set<std::uint64_t> m_numbers;
    std::uint64_t m_nextId;
    std::uint64_t m_nextNumber = 1;
    std::uint64_t m_sequence = 1;
    InodePtr m_root;
};

} // namespace quillmount::mount
