// SPDX-License-Identifier: LicenseRef-Quillmount
#include "Mount/LaneSlots.h"

#include <algorithm>

namespace quillmount::mount {

std::size_t LaneSlots::openSlots() const {
    return static_cast<std::size_t>(
        std::count_if(m_slots.begin(), m_slots.end(), [](const Slot &slot) { return slot.open; }));
}

std::optional<std::size_t> LaneSlots::take(std::uint64_t stream, Moment since, Moment now) {
    const auto place = [&](auto fits) -> Slot * {
        const auto found = std::find_if(m_slots.begin(), m_slots.end(), fits);
        return found == m_slots.end() ? nullptr : &*found;
    };
    Slot *chosen = nullptr;
    if (stream != 0)
        chosen = place([&](const Slot &slot) { return slot.load > 0 && slot.stream == stream; });
    if (!chosen)
        chosen = place([](const Slot &slot) { return slot.open && slot.load == 0; });
    if (!chosen && openSlots() < (now - since >= maxWait ? maxOpen : usual)) {
        chosen = place([](const Slot &slot) { return !slot.open; });
        if (!chosen)
            chosen = &m_slots.emplace_back();
    }
    if (!chosen)
        return std::nullopt;
    chosen->open = true;
    chosen->stream = stream;
    ++chosen->load;
    return static_cast<std::size_t>(chosen - m_slots.data());
}

void LaneSlots::release(std::size_t place, Moment now) {
    Slot &slot = m_slots[place];
    if (--slot.load == 0)
        slot.idleSince = now;
}

std::vector<std::size_t> LaneSlots::idle(Moment now) const {
    std::vector<std::size_t> found;
    for (std::size_t i = usual; i < m_slots.size(); ++i) {
        const Slot &slot = m_slots[i];
        if (slot.open && slot.load == 0 && now - slot.idleSince >= idleTime)
            found.push_back(i);
    }
    return found;
}

std::optional<LaneSlots::Moment> LaneSlots::nextIdle() const {
    std::optional<Moment> next;
    for (std::size_t i = usual; i < m_slots.size(); ++i) {
        const Slot &slot = m_slots[i];
        if (slot.open && slot.load == 0 && (!next || slot.idleSince + idleTime < *next))
            next = slot.idleSince + idleTime;
    }
    return next;
}

} // namespace quillmount::mount
