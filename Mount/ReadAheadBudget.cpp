// SPDX-License-Identifier: LicenseRef-Quillmount
#include "Mount/ReadAheadBudget.h"

#include <algorithm>

namespace quillmount::mount {

std::size_t ReadAheadBudget::bytes() const {
    std::size_t sum = 0;
    for (const Entry &entry : m_entries)
        sum += entry.ahead->bytes();
    return sum;
}

std::size_t ReadAheadBudget::room(ReadAhead &ahead, Moment now) {
    constexpr std::size_t wanted = ReadAhead::maxBlocks * ReadAhead::blockSize;
    remove(ahead);
    m_entries.push_back({&ahead, now});
    std::size_t held = bytes();
    while (held + wanted > maxBytes && now - m_entries.front().read >= busyTime) {
        held -= m_entries.front().ahead->bytes();
        m_entries.front().ahead->drop();
        m_entries.pop_front();
    }
    return held < maxBytes ? maxBytes - held : 0;
}

void ReadAheadBudget::remove(ReadAhead &ahead) {
    m_entries.remove_if([&](const Entry &entry) { return entry.ahead == &ahead; });
}

void ReadAheadBudget::dropIdle(Moment now) {
    while (!m_entries.empty() && now - m_entries.front().read >= idleTime) {
        m_entries.front().ahead->drop();
        m_entries.pop_front();
    }
}

std::optional<ReadAheadBudget::Moment> ReadAheadBudget::nextIdle() const {
    if (m_entries.empty())
        return std::nullopt;
    return m_entries.front().read + idleTime;
}

} // namespace quillmount::mount
