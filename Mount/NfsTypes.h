// SPDX-License-Identifier: LicenseRef-Quillmount
#pragma once

#include <cstdint>
#include <ctime>
#include <string>
#include <vector>

namespace quillmount::mount {

// The server's opaque name of a file; empty when it is not known at the moment.
using Handle = std::string;

enum class FileType : std::uint8_t { regular, directory, symlink, other };

// What tells one state of a file's content from another. Nothing compares equal to an unset version.
struct Version {
    bool known = false;
    std::uint64_t size = 0;
    std::int64_t seconds = 0;
    std::uint32_t nanoseconds = 0;

    bool matches(const Version &other) const {
        return known && other.known && size == other.size && seconds == other.seconds &&
               nanoseconds == other.nanoseconds;
    }
};

// The attributes of a file as the server gives them.
struct Attributes {
    FileType type = FileType::regular;
    std::uint32_t mode = 0; // permission bits only
    std::uint64_t size = 0;
    std::uint64_t used = 0;
    timespec accessed{};
    timespec modified{};
    timespec changed{};

    Version version() const { return {true, size, modified.tv_sec, static_cast<std::uint32_t>(modified.tv_nsec)}; }
};

// One name in a folder.
struct DirectoryEntry {
    std::string name;
    Handle handle;
    bool hasAttributes = false;
    Attributes attributes;
};

// One answer to a listing call.
struct DirectoryPage {
    std::vector<DirectoryEntry> entries;
    std::uint64_t lastCookie = 0;
    std::uint64_t verifier = 0;
    bool end = false;
};

// The calls whose errors or repeats are told apart.
enum class Procedure : std::uint8_t {
    null,
    mount,
    getAttributes,
    setAttributes,
    lookup,
    read,
    write,
    commit,
    create,
    makeDirectory,
    remove,
    removeDirectory,
    rename,
    list,
    fileSystemStatus
};

// How a call ended.
enum class Ending : std::uint8_t {
    answered,   // the server answered; `status` says what
    rejected,   // the server answered with an error of the transport's own, without a status
    unreachable // there was no answer and there will be none
};

// An answer together with how it came about.
template <class T>
struct Reply {
    Ending ending = Ending::unreachable;
    int status = 0;        // nfsstat3, valid when answered
    bool repeated = false; // the call was sent again after its connection was lost
    T value{};

    bool succeeded() const { return ending == Ending::answered && status == 0; }
};

struct Nothing {};

} // namespace quillmount::mount
