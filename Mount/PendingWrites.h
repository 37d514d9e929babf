// SPDX-License-Identifier: LicenseRef-Quillmount
#pragma once

#include "Mount/Buffer.h"

#include <cstdint>
#include <list>

namespace quillmount::mount {

// The bytes of one file that a program has written and the server has not confirmed yet, in the order of writing.
// Neighbouring writes grow together while an earlier one is on its way, so that many small ones become a few large
// ones without any of them being held back by a clock.
class PendingWrites {
public:
    static constexpr std::size_t maxChunk = std::size_t{1} << 20;
    static constexpr int maxInFlight = 4;

    struct Chunk {
        std::uint64_t offset = 0;
        std::uint64_t sequence = 0;
        Buffer bytes;
        bool sent = false;
        bool sealed = false;

        std::uint64_t end() const { return offset + bytes.size(); }
    };

    // Takes bytes to be written. Gives the sequence number by which their confirmation can be awaited.
    std::uint64_t accept(std::uint64_t offset, const char *bytes, std::size_t count);
    // The same for a whole block, which is kept instead of copied.
    std::uint64_t accept(std::uint64_t offset, Buffer block);

    // The next chunk that may be sent now, marked as sent; null when there is none. Chunks that overlap one on its way
    // wait for it, since a call that has to be repeated may arrive later than its successor.
    Chunk *nextToSend();
    // The chunk was confirmed, or given up.
    void finish(const Chunk *chunk);

    // Lets what is there go out now; later writes start a new chunk. Gives the last sequence number.
    std::uint64_t seal();
    // True when everything up to `sequence` is confirmed or given up.
    bool isDone(std::uint64_t sequence) const { return m_chunks.empty() || m_chunks.front().sequence > sequence; }
    bool isEmpty() const { return m_chunks.empty(); }
    // True while something has not been sent for the first time.
    bool hasUnsent() const { return static_cast<std::size_t>(m_inFlight) < m_chunks.size(); }
    int inFlight() const { return m_inFlight; }
    // Where the last of the pending bytes ends; 0 when there are none.
    std::uint64_t end() const;
    // Where the furthest of the pending chunks begins; 0 when there are none.
    std::uint64_t lastOffset() const;
    std::size_t bytes() const { return m_bytes; }
    // How many pieces the bytes are in.
    std::size_t count() const { return m_chunks.size(); }

private:
    bool mergeIntoLast(std::uint64_t offset, const char *bytes, std::size_t count);
    bool overlapsFlying(const Chunk &chunk) const;

    std::list<Chunk> m_chunks;
    std::uint64_t m_lastSequence = 0;
    std::size_t m_bytes = 0;
    int m_inFlight = 0;
};

} // namespace quillmount::mount
