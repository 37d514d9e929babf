// SPDX-License-Identifier: LicenseRef-Quillmount
#include "Mount/Listings.h"

#include <nfsc/libnfs.h>

#include <nfsc/libnfs-raw-nfs.h>

#include <syslog.h>

namespace quillmount::mount {

void Listings::noteQuestion(const InodePtr &folder) {
    if (!folder->names)
        folder->names = std::make_unique<KnownListing>();
    if (folder->names->isWorthLearning(folder->childCount(), EventLoop::Clock::now()))
        spawn(learn(folder));
}

Task<void> Listings::learn(InodePtr folder) {
    co_await load(folder); // an error shows at the question that is asked anyway
}

Task<Result<Listing>> Listings::load(InodePtr folder) {
    if (!folder->names)
        folder->names = std::make_unique<KnownListing>();
    const auto asked = EventLoop::Clock::now();
    const unsigned number = folder->names->beginLearning();
    auto snapshot = std::make_shared<DirectorySnapshot>();
    Result<Listing> result;
    result.error = co_await loadPages(folder, *snapshot);
    if (result.error != 0)
        snapshot.reset();
    const auto now = EventLoop::Clock::now();
    folder->names->endLearning(number, snapshot, asked, now);
    if (result.error != 0)
        co_return result;
    folder->listed = now;
    result.value = {snapshot, now};
    // Large folders are not kept in memory for longer than they are believed.
    m_loop.at(now + KnownListing::trust, [weak = std::weak_ptr(folder)] {
        const InodePtr known = weak.lock();
        if (known && known->names && !known->names->isKnown(EventLoop::Clock::now()))
            known->names->forget();
    });
    co_return result;
}

Task<int> Listings::loadPages(InodePtr folder, DirectorySnapshot &snapshot) {
    while (true) {
        const std::uint64_t asOf = m_table.nextSequence();
        Result<DirectoryPage> page =
            co_await m_handles.call<DirectoryPage>(Procedure::list, folder, [&](const Handle &handle) {
                return m_client.list(handle, snapshot.cookie(), snapshot.verifier());
            });
        if (page.status == NFS3ERR_BAD_COOKIE) {
            snapshot.badCookie();
            continue;
        }
        if (page.error != 0)
            co_return page.error;
        if (snapshot.take(std::move(page.value), asOf))
            break;
    }
    for (const std::string &name : snapshot.leftOut()) {
        if (m_toldOf.insert(name).second)
            syslog(LOG_USER | LOG_WARNING, "a name of %zu bytes is too long to be shown in its folder: %.60s...",
                   name.size(), name.c_str());
    }
    co_return 0;
}

} // namespace quillmount::mount
