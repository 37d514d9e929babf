// SPDX-License-Identifier: LicenseRef-Quillmount
#pragma once

#include "Mount/DirectorySnapshot.h"
#include "Mount/InodeTable.h"
#include "Mount/ReadAhead.h"
#include "Mount/Turns.h"
#include "Mount/WriteBehind.h"

#include <chrono>
#include <ctime>
#include <set>

namespace quillmount::mount {

struct FileState;

// One open file of a program.
struct OpenFile {
    InodePtr inode;
    std::shared_ptr<FileState> state;
    ReadAhead ahead;
    std::uint64_t errorsSeen = 0;
    bool uncommitted = false; // written to since the server was last asked to close the file
};

// One open folder, with the listing that its reader is walking through.
struct OpenFolder {
    InodePtr inode;
    std::shared_ptr<const DirectorySnapshot> listing; // null until it is loaded
    std::chrono::steady_clock::time_point heard{};    // when it was complete
};

// What is known of a file's content as long as its inode lives.
struct FileState {
    WriteBehind pending;
    Gate settled;                     // opens whenever something that was pending has been confirmed or given up
    Version pages;                    // the version that the kernel's page cache holds
    std::uint64_t size = 0;           // as last heard; for reading ahead only
    timespec written{};               // when a program wrote last
    int asking = 0;                   // attribute calls under way
    std::uint64_t endWhileAsking = 0; // how far writes reached that were confirmed during such calls
    std::uint64_t reach = 0;          // the end of the file on the server once everything sent has arrived
    Turns turns;
    std::uint64_t errors = 0; // how many writes the server refused
    int lastError = 0;
    std::set<OpenFile *> opened;
};

// The outcome of an operation on a known file.
template <class T>
struct Result {
    int error = 0;
    int status = 0;
    bool repeated = false;
    T value{};
};

} // namespace quillmount::mount
