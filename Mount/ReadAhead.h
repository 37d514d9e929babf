// SPDX-License-Identifier: LicenseRef-Quillmount
#pragma once

#include "Mount/Buffer.h"
#include "Mount/Task.h"

#include <cstdint>
#include <deque>
#include <memory>
#include <vector>

namespace quillmount::mount {

// Decides what to fetch ahead of a program that reads one open file in sequence. The kernel asks for 128 KiB at a time
// and has few requests under way; the server opens and closes the file for each call, so fewer and larger calls that
// overlap are what makes a large file fast.
class ReadAhead {
public:
    static constexpr std::uint32_t blockSize = 1U << 20;
    static constexpr std::size_t maxBlocks = 8;

    struct Block {
        std::uint64_t offset = 0;
        std::uint32_t length = 0;
        bool settled = false; // the fetch has ended
        bool valid = false;   // all bytes are there
        bool dropped = false; // the file has changed since it was asked for
        Buffer bytes;
        Gate done;

        std::uint64_t end() const { return offset + length; }
    };
    using BlockPtr = std::shared_ptr<Block>;

    // Takes note of a read in a file of `fileSize` bytes. Gives the blocks that are to be fetched now, of no more
    // than `room` bytes.
    std::vector<BlockPtr> note(std::uint64_t offset, std::size_t count, std::uint64_t fileSize, std::size_t room);
    // The blocks that hold all of the range, in order; empty when they do not.
    std::vector<BlockPtr> covering(std::uint64_t offset, std::size_t count) const;
    // The bytes of all blocks, fetched or still to come.
    std::size_t bytes() const;
    // Forgets everything: the file was changed, or the memory is wanted back.
    void drop();

private:
    std::deque<BlockPtr> m_blocks;
    std::uint64_t m_expected = 0;
    int m_streak = 0;
    std::size_t m_window = 1;
};

} // namespace quillmount::mount
