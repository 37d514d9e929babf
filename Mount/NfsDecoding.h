// SPDX-License-Identifier: LicenseRef-Quillmount
#pragma once

#include <nfsc/libnfs.h>

#include <nfsc/libnfs-raw-mount.h>
#include <nfsc/libnfs-raw-nfs.h>

#include "Mount/NfsTypes.h"

#include <optional>

namespace quillmount::mount {

// What a handle-and-name call gives back.
struct FoundFile {
    Handle handle;
    bool hasAttributes = false;
    Attributes attributes;
};

// Versions of a file right before and right after a call that changed it, as far as the server told.
struct Change {
    Version before;
    bool hasAfter = false;
    Attributes after;
};

// What a READ brought. The buffer and its capacity are set before the call.
struct ReadResult {
    char *buffer = nullptr;
    std::size_t capacity = 0;
    std::size_t count = 0;
    bool end = false;
    bool hasAttributes = false;
    Attributes attributes;
};

struct WriteResult {
    std::size_t count = 0;
    Change change;
};

// Figures of the whole drive in bytes, as the server gave them.
struct SpaceResult {
    std::uint64_t total = 0;
    std::uint64_t free = 0;
};

// The nearest time that can be sent: seconds since 1970 in 32 bits.
nfstime3 wireTime(const timespec &time);

// Each takes an answer out of the library's structures, which are valid only while the library calls back.
void decode(Reply<Handle> &reply, const mountres3 &result);
void decode(Reply<Attributes> &reply, const GETATTR3res &result);
void decode(Reply<Change> &reply, const SETATTR3res &result);
void decode(Reply<FoundFile> &reply, const LOOKUP3res &result);
void decode(Reply<ReadResult> &reply, const READ3res &result);
void decode(Reply<WriteResult> &reply, const WRITE3res &result);
void decode(Reply<Nothing> &reply, const COMMIT3res &result);
void decode(Reply<FoundFile> &reply, const CREATE3res &result);
void decode(Reply<FoundFile> &reply, const MKDIR3res &result);
void decode(Reply<Nothing> &reply, const REMOVE3res &result);
void decode(Reply<Nothing> &reply, const RMDIR3res &result);
void decode(Reply<Nothing> &reply, const RENAME3res &result);
void decode(Reply<DirectoryPage> &reply, const READDIRPLUS3res &result);
void decode(Reply<DirectoryPage> &reply, const READDIR3res &result);
void decode(Reply<SpaceResult> &reply, const FSSTAT3res &result);

} // namespace quillmount::mount
