// SPDX-License-Identifier: LicenseRef-Quillmount
#include "Mount/KnownListing.h"

#include <algorithm>

namespace quillmount::mount {
namespace {

// The server also finds a name that is spelled with other letters of the same look; there are none for these.
bool hasOneSpelling(std::string_view name) {
    return std::all_of(name.begin(), name.end(), [](char letter) { return static_cast<unsigned char>(letter) < 0x80; });
}

} // namespace

unsigned KnownListing::beginLearning() {
    ++m_learning;
    return m_number;
}

void KnownListing::endLearning(unsigned number, std::shared_ptr<const DirectorySnapshot> listing, Moment asked,
                               Moment now) {
    --m_learning;
    if (!listing || number != m_number)
        return;
    std::erase_if(m_changed, [&](const auto &change) { return change.second < asked; });
    m_listing = std::move(listing);
    m_heard = now;
    m_questions = 0;
    m_entries.clear();
    m_entries.reserve(m_listing->entries().size());
    for (const DirectorySnapshot::Entry &entry : m_listing->entries())
        m_entries.emplace(entry.name, &entry);
}

void KnownListing::forget() {
    ++m_number;
    m_entries = {};
    m_listing.reset();
    if (m_learning == 0)
        m_changed = {};
}

void KnownListing::changed(std::string_view name, Moment now) {
    if (m_listing || m_learning > 0)
        m_changed.insert_or_assign(std::string(name), now);
}

KnownListing::Answer KnownListing::look(std::string_view name, Moment now) const {
    if (!isKnown(now) || m_changed.contains(std::string(name)))
        return {};
    const auto found = m_entries.find(name);
    if (found == m_entries.end())
        return {hasOneSpelling(name) ? Says::absent : Says::nothing, nullptr, m_heard};
    const DirectorySnapshot::Entry &entry = *found->second;
    if (!entry.hasAttributes || entry.handle.empty())
        return {};
    return {Says::present, &entry, m_heard};
}

bool KnownListing::isWorthLearning(std::size_t namesInFolder, Moment now) {
    constexpr auto burst = std::chrono::seconds(1);
    constexpr std::size_t fewest = 4;
    // To list a name costs far less than a question about it.
    constexpr std::size_t namesForOneQuestion = 32;
    m_questions = now - m_lastQuestion < burst ? m_questions + 1 : 1;
    m_lastQuestion = now;
    if (m_learning > 0 || m_questions < std::max(fewest, namesInFolder / namesForOneQuestion))
        return false;
    m_questions = 0;
    return true;
}

} // namespace quillmount::mount
