// SPDX-License-Identifier: LicenseRef-Quillmount
#include "Mount/DirectorySnapshot.h"

#include <algorithm>

namespace quillmount::mount {
namespace {

// How far an overlapping page reaches back, at most: more removals than that between two pages could hide a name.
constexpr std::uint64_t overlap = 256;
// The position of the first real name: the server counts "." and "..".
constexpr std::uint64_t firstCookie = 2;

} // namespace

bool DirectorySnapshot::take(DirectoryPage page, std::uint64_t asOf) {
    const bool overlapping = m_restarts > maxRestarts;
    const std::size_t count = page.entries.size();
    for (DirectoryEntry &entry : page.entries) {
        if (entry.name == "." || entry.name == ".." || !m_names.insert(entry.name).second)
            continue;
        if (entry.name.size() > maxName)
            m_leftOut.push_back(std::move(entry.name));
        else
            m_entries.push_back({std::move(entry), asOf});
    }
    if (page.end || count == 0)
        return true;
    m_verifier = overlapping ? 0 : page.verifier;
    m_cookie = page.lastCookie;
    if (overlapping) {
        const std::uint64_t back = std::min<std::uint64_t>(overlap, count / 2);
        m_cookie = m_cookie > firstCookie + back ? m_cookie - back : 0;
    }
    return false;
}

void DirectorySnapshot::badCookie() {
    ++m_restarts;
    m_entries.clear();
    m_names.clear();
    m_leftOut.clear();
    m_cookie = 0;
    m_verifier = 0;
}

} // namespace quillmount::mount
