// SPDX-License-Identifier: LicenseRef-Quillmount
#pragma once

#include "Mount/ReadAhead.h"

#include <chrono>
#include <list>
#include <optional>

namespace quillmount::mount {

// What all open files together may hold of bytes that were read ahead. The file that was read longest ago gives its
// bytes up first; one that is being read keeps them, since to drop what is about to be asked for costs more than not
// to fetch ahead.
class ReadAheadBudget {
public:
    using Moment = std::chrono::steady_clock::time_point;

    static constexpr std::size_t maxBytes = std::size_t{64} << 20;
    static constexpr std::chrono::seconds busyTime{1};
    static constexpr std::chrono::seconds idleTime{10};

    // `ahead` is about to be read: gives how many bytes it may fetch in addition, for which others may lose theirs.
    std::size_t room(ReadAhead &ahead, Moment now);
    // `ahead` goes away.
    void remove(ReadAhead &ahead);

    // Drops what nobody has read for long.
    void dropIdle(Moment now);
    // When there may be something to drop; nothing while no bytes are held.
    std::optional<Moment> nextIdle() const;
    std::size_t bytes() const;

private:
    struct Entry {
        ReadAhead *ahead;
        Moment read;
    };

    std::list<Entry> m_entries; // the one read longest ago first
};

} // namespace quillmount::mount
