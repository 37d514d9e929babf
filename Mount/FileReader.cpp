// SPDX-License-Identifier: LicenseRef-Quillmount
#include "Mount/FileReader.h"

#include <malloc.h>

#include <algorithm>
#include <cerrno>

namespace quillmount::mount {

void FileReader::close(OpenFile &file) {
    file.ahead.drop();
    m_budget.remove(file.ahead);
}

Task<void> FileReader::fetch(InodePtr inode, ReadAhead::BlockPtr block) {
    block->bytes = Buffer(block->length);
    // Two calls of one reader may overlap.
    const std::uint64_t stream = 2 * inode->id() + (block->offset / ReadAhead::blockSize) % 2;
    const Result<std::size_t> got =
        co_await inode->content->read(block->offset, block->bytes.data(), block->length, stream);
    block->bytes.setSize(got.value);
    block->settled = true;
    block->valid = got.error == 0 && got.value == block->length;
    block->done.open();
}

// An error means that the blocks cannot be used.
Task<Result<ReadBytes>> FileReader::readBlocks(std::vector<ReadAhead::BlockPtr> blocks, std::uint64_t offset,
                                               std::size_t size) {
    Result<ReadBytes> result;
    for (const ReadAhead::BlockPtr &block : blocks) {
        while (!block->settled)
            co_await block->done.wait();
        if (!block->valid || block->dropped) {
            result.error = EAGAIN;
            co_return result;
        }
        const std::uint64_t from = std::max(offset, block->offset);
        const std::uint64_t to = std::min(offset + size, block->end());
        result.value.parts.push_back({block->bytes.data() + (from - block->offset), to - from});
    }
    result.value.blocks = std::move(blocks);
    co_return result;
}

Task<Result<ReadBytes>> FileReader::read(OpenFilePtr file, std::uint64_t offset, std::size_t size) {
    Result<ReadBytes> result;
    // While the file is also being written, what was read ahead would be thrown away at once.
    if (!file->content->hasPending()) {
        const std::size_t room = m_budget.room(file->ahead, EventLoop::Clock::now());
        dropIdleLater();
        const std::uint64_t known = file->content->knownSize();
        for (ReadAhead::BlockPtr &block : file->ahead.note(offset, size, known, room))
            spawn(fetch(file->inode, std::move(block)));
        std::vector<ReadAhead::BlockPtr> blocks;
        if (offset + size <= file->content->knownSize())
            blocks = file->ahead.covering(offset, size);
        if (!blocks.empty()) {
            result = co_await readBlocks(std::move(blocks), offset, size);
            if (result.error == 0)
                co_return result;
        }
    }
    result.value.buffer = Buffer(size);
    char *bytes = result.value.buffer.data();
    const Result<std::size_t> got = co_await file->content->read(offset, bytes, size, 0);
    result.error = got.error;
    result.value.parts = {{bytes, got.value}};
    co_return result;
}

void FileReader::dropIdleLater() {
    const auto next = m_budget.nextIdle();
    if (!next || std::exchange(m_dropArmed, true))
        return;
    m_loop.at(*next, [this] {
        m_dropArmed = false;
        m_budget.dropIdle(EventLoop::Clock::now());
        malloc_trim(0);
        dropIdleLater();
    });
}

} // namespace quillmount::mount
