// SPDX-License-Identifier: LicenseRef-Quillmount
#pragma once

#include "Mount/EventLoop.h"
#include "Mount/FileContent.h"
#include "Mount/ReadAheadBudget.h"

#include <sys/uio.h>

namespace quillmount::mount {

// The bytes that a read gave: `parts` in their order, in memory that lives as long as this.
struct ReadBytes {
    std::vector<iovec> parts;
    std::vector<ReadAhead::BlockPtr> blocks;
    Buffer buffer;
};

// Reads open files for programs, and ahead of those that read in sequence. All open files share one budget of memory,
// which is given back when nobody reads.
class FileReader {
public:
    explicit FileReader(EventLoop &loop)
        : m_loop(loop) {}

    Task<Result<ReadBytes>> read(OpenFilePtr file, std::uint64_t offset, std::size_t size);
    // The file is closed: what was read ahead of it is given back.
    void close(OpenFile &file);

private:
    Task<void> fetch(InodePtr inode, ReadAhead::BlockPtr block);
    Task<Result<ReadBytes>> readBlocks(std::vector<ReadAhead::BlockPtr> blocks, std::uint64_t offset, std::size_t size);
    void dropIdleLater();

    EventLoop &m_loop;
    ReadAheadBudget m_budget;
    bool m_dropArmed = false;
};

} // namespace quillmount::mount
