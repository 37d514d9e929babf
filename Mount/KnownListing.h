// SPDX-License-Identifier: LicenseRef-Quillmount
#pragma once

#include "Mount/DirectorySnapshot.h"

#include <chrono>
#include <memory>
#include <string_view>
#include <unordered_map>

namespace quillmount::mount {

// What a complete listing of a folder says of single names while it may still be trusted. All changes made here pass
// by it, so only what others do can be missed, and that the engine itself learns at a slower pace.
class KnownListing {
public:
    using Moment = std::chrono::steady_clock::time_point;
    // How long anything that the server said is believed without asking again.
    static constexpr std::chrono::seconds trust{4};

    enum class Says { nothing, absent, present };
    struct Answer {
        Says says = Says::nothing;
        const DirectorySnapshot::Entry *entry = nullptr; // of a present name, with handle and attributes
        Moment heard{};                                  // when the server had said so
    };

    // A listing is being asked for. Gives the number to end it with; every beginning has its end.
    unsigned beginLearning();
    // Takes the complete listing that was asked for at `asked` and is there `now`, unless everything was forgotten
    // in between; null when there is none.
    void endLearning(unsigned number, std::shared_ptr<const DirectorySnapshot> listing, Moment asked, Moment now);
    // Nothing is known any more.
    void forget();
    // `name` was changed here: a listing that was asked for before says nothing about it.
    void changed(std::string_view name, Moment now);

    // What the listing says; the entry is valid until the next call that changes anything.
    Answer look(std::string_view name, Moment now) const;
    // Takes note that the server was asked about one name. True when so many were that a listing would be cheaper.
    bool isWorthLearning(std::size_t namesInFolder, Moment now);
    bool isKnown(Moment now) const { return m_listing && now - m_heard < trust; }

private:
    std::shared_ptr<const DirectorySnapshot> m_listing;
    Moment m_heard{};
    std::unordered_map<std::string_view, const DirectorySnapshot::Entry *> m_entries;
    std::unordered_map<std::string, Moment> m_changed;
    int m_learning = 0;
    unsigned m_number = 0;
    std::size_t m_questions = 0;
    Moment m_lastQuestion{};
};

} // namespace quillmount::mount
