// SPDX-License-Identifier: LicenseRef-Quillmount
#pragma once

#include "Mount/Handles.h"

#include <set>

namespace quillmount::mount {

// A complete listing of a folder, and when it was complete.
struct Listing {
    std::shared_ptr<const DirectorySnapshot> snapshot;
    std::chrono::steady_clock::time_point heard{};
};

// Lists folders, and notes with each folder what its listing says of single names (KnownListing).
class Listings {
public:
    Listings(EventLoop &loop, Handles &handles, NfsClient &client, InodeTable &table)
        : m_loop(loop)
        , m_handles(handles)
        , m_client(client)
        , m_table(table) {}

    Task<Result<Listing>> load(InodePtr folder);
    // A program asks for a name in `folder`. When it asks for one after the other, listing them all is cheaper in the
    // end, and begins.
    void noteQuestion(const InodePtr &folder);

private:
    Task<void> learn(InodePtr folder);
    Task<int> loadPages(InodePtr folder, DirectorySnapshot &snapshot);

    EventLoop &m_loop;
    Handles &m_handles;
    NfsClient &m_client;
    InodeTable &m_table;
    std::set<std::string> m_toldOf; // names too long to be shown
};

} // namespace quillmount::mount
