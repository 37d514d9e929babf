// SPDX-License-Identifier: LicenseRef-Quillmount
#include "Mount/ReadAhead.h"

#include <algorithm>

namespace quillmount::mount {
namespace {

// Requests of one sequential reader may overtake each other a little.
constexpr std::uint64_t disorder = 1U << 20;
constexpr int streakToStart = 2;

} // namespace

std::vector<ReadAhead::BlockPtr> ReadAhead::note(std::uint64_t offset, std::size_t count, std::uint64_t fileSize,
                                                 std::size_t room) {
    const bool inOrder = offset <= m_expected + disorder && offset + disorder >= m_expected;
    if (!inOrder || (m_expected == 0 && offset > 0)) {
        drop();
        m_streak = 0;
    } else if (offset + count > m_expected) {
        ++m_streak;
    }
    m_expected = std::max(inOrder ? m_expected : 0, offset + count);
    if (m_streak < streakToStart)
        return {};

    while (!m_blocks.empty() && m_blocks.front()->end() + disorder <= offset)
        m_blocks.pop_front();
    std::uint64_t next = m_blocks.empty() ? offset : m_blocks.back()->end();
    std::vector<BlockPtr> wanted;
    while (next < fileSize && next < offset + count + m_window * blockSize && m_blocks.size() < maxBlocks + 2) {
        auto block = std::make_shared<Block>();
        block->offset = next;
        block->length = static_cast<std::uint32_t>(std::min<std::uint64_t>(blockSize, fileSize - next));
        if (block->length > room)
            break;
        room -= block->length;
        next = block->end();
        m_blocks.push_back(block);
        wanted.push_back(std::move(block));
    }
    if (!wanted.empty())
        m_window = std::min(m_window * 2, maxBlocks);
    return wanted;
}

std::vector<ReadAhead::BlockPtr> ReadAhead::covering(std::uint64_t offset, std::size_t count) const {
    std::vector<BlockPtr> found;
    std::uint64_t reached = offset;
    for (const BlockPtr &block : m_blocks) {
        if (block->offset <= reached && reached < block->end() && reached < offset + count) {
            found.push_back(block);
            reached = block->end();
        }
    }
    if (reached < offset + count)
        found.clear();
    return found;
}

std::size_t ReadAhead::bytes() const {
    std::size_t sum = 0;
    for (const BlockPtr &block : m_blocks)
        sum += block->length;
    return sum;
}

void ReadAhead::drop() {
    for (const BlockPtr &block : m_blocks)
        block->dropped = true;
    m_blocks.clear();
    m_window = 1;
}

} // namespace quillmount::mount
