// SPDX-License-Identifier: LicenseRef-Quillmount
#pragma once

#include "Mount/NfsTypes.h"

#include <string_view>
#include <unordered_set>

namespace quillmount::mount {

// The listing of a folder, put together from the server's pages. The server's cookies are positions in a sorted list
// that it makes anew for each page, so a change in between spoils them: the listing then starts again. A folder that
// never stands still is listed with overlapping pages in the end, which loses nothing that stays in place.
class DirectorySnapshot {
public:
    static constexpr int maxRestarts = 8;
    static constexpr std::size_t maxName = 255; // in bytes

    struct Entry : DirectoryEntry {
        std::uint64_t asOf = 0; // the sequence number at which its page was asked for
    };

    std::uint64_t cookie() const { return m_cookie; }
    std::uint64_t verifier() const { return m_verifier; }

    // Takes the page that was asked for at sequence number `asOf`; true when the listing is complete.
    bool take(DirectoryPage page, std::uint64_t asOf);
    // The server refused the cookie because the folder has changed.
    void badCookie();

    const std::vector<Entry> &entries() const { return m_entries; }
    // Names that the system cannot take: they are left out, because one of them would make all others unreadable.
    const std::vector<std::string> &leftOut() const { return m_leftOut; }

private:
    std::vector<Entry> m_entries;
    std::unordered_set<std::string> m_names;
    std::vector<std::string> m_leftOut;
    std::uint64_t m_cookie = 0;
    std::uint64_t m_verifier = 0;
    int m_restarts = 0;
};

} // namespace quillmount::mount
