// SPDX-License-Identifier: LicenseRef-Quillmount
#pragma once

#include <chrono>
#include <cstdint>
#include <optional>
#include <vector>

namespace quillmount::mount {

// Decides which of a lane's connections a call takes. The server works through each connection strictly in turn, and
// one call may take minutes, so a call has its connection to itself; only calls of one stream, which have to wait for
// each other anyway, follow each other on one. A lane takes a few connections at once, and more when a call has
// waited.
class LaneSlots {
public:
    using Moment = std::chrono::steady_clock::time_point;

    static constexpr std::size_t usual = 4;
    static constexpr std::size_t maxOpen = 32;
    static constexpr std::chrono::milliseconds maxWait{100};
    static constexpr std::chrono::seconds idleTime{60};

    // The place of the connection for a call that has been waiting since `since`; nothing when it has to wait on, for
    // a release or until it has waited for `maxWait`. `stream` is 0 for a call that belongs to none.
    std::optional<std::size_t> take(std::uint64_t stream, Moment since, Moment now);
    void release(std::size_t place, Moment now);

    // The places that were needed for a while and are idle for long now; each is closed by `close`.
    std::vector<std::size_t> idle(Moment now) const;
    void close(std::size_t place) { m_slots[place].open = false; }
    // When there may be idle places; nothing while there are only the usual ones.
    std::optional<Moment> nextIdle() const;

private:
    struct Slot {
        bool open = false;
        int load = 0;
        std::uint64_t stream = 0;
        Moment idleSince{};
    };

    std::size_t openSlots() const;

    std::vector<Slot> m_slots;
};

} // namespace quillmount::mount
