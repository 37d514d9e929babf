// SPDX-License-Identifier: LicenseRef-Quillmount
#include "Mount/PendingWrites.h"

#include <algorithm>

namespace quillmount::mount {

bool PendingWrites::mergeIntoLast(std::uint64_t offset, const char *bytes, std::size_t count) {
    if (m_chunks.empty())
        return false;
    Chunk &last = m_chunks.back();
    if (last.sent || last.sealed || offset < last.offset || offset > last.end())
        return false;
    const std::size_t inside = std::min<std::size_t>(last.end() - offset, count);
    if (last.bytes.size() + (count - inside) > maxChunk)
        return false;
    std::memcpy(last.bytes.data() + (offset - last.offset), bytes, inside);
    if (count - inside > last.bytes.room() && last.bytes.size() + count > maxChunk / 8)
        last.bytes.reserve(maxChunk);
    last.bytes.append(bytes + inside, count - inside);
    m_bytes += count - inside;
    return true;
}

std::uint64_t PendingWrites::accept(std::uint64_t offset, const char *bytes, std::size_t count) {
    if (mergeIntoLast(offset, bytes, count))
        return m_lastSequence;
    Buffer block(count);
    block.append(bytes, count);
    return accept(offset, std::move(block));
}

std::uint64_t PendingWrites::accept(std::uint64_t offset, Buffer block) {
    if (mergeIntoLast(offset, block.data(), block.size()))
        return m_lastSequence;
    m_bytes += block.size();
    Chunk chunk;
    chunk.offset = offset;
    chunk.sequence = ++m_lastSequence;
    chunk.bytes = std::move(block);
    m_chunks.push_back(std::move(chunk));
    return m_lastSequence;
}

bool PendingWrites::overlapsFlying(const Chunk &chunk) const {
    // Chunks are sent in their order, so those on their way come first.
    const auto sentEnd = std::find_if(m_chunks.begin(), m_chunks.end(), [](const Chunk &other) { return !other.sent; });
    return std::any_of(m_chunks.begin(), sentEnd,
                       [&](const Chunk &other) { return other.offset < chunk.end() && chunk.offset < other.end(); });
}

PendingWrites::Chunk *PendingWrites::nextToSend() {
    if (m_inFlight >= maxInFlight)
        return nullptr;
    const auto next = std::find_if(m_chunks.begin(), m_chunks.end(), [](const Chunk &chunk) { return !chunk.sent; });
    if (next == m_chunks.end())
        return nullptr;
    const bool mayGrow = &*next == &m_chunks.back() && !next->sealed && next->bytes.size() < maxChunk;
    if ((mayGrow && m_inFlight > 0) || overlapsFlying(*next))
        return nullptr;
    next->sent = true;
    ++m_inFlight;
    return &*next;
}

void PendingWrites::finish(const Chunk *chunk) {
    const auto found =
        std::find_if(m_chunks.begin(), m_chunks.end(), [&](const Chunk &candidate) { return &candidate == chunk; });
    m_bytes -= found->bytes.size();
    --m_inFlight;
    m_chunks.erase(found);
}

std::uint64_t PendingWrites::seal() {
    if (!m_chunks.empty())
        m_chunks.back().sealed = true;
    return m_lastSequence;
}

std::uint64_t PendingWrites::end() const {
    std::uint64_t last = 0;
    for (const Chunk &chunk : m_chunks)
        last = std::max(last, chunk.end());
    return last;
}

std::uint64_t PendingWrites::lastOffset() const {
    std::uint64_t last = 0;
    for (const Chunk &chunk : m_chunks)
        last = std::max(last, chunk.offset);
    return last;
}

} // namespace quillmount::mount
