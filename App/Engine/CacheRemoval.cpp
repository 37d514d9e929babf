// SPDX-License-Identifier: LicenseRef-Quillmount
#include "App/Engine/CacheRemoval.h"

#include "App/Concurrency/Task.h"
#include "App/Engine/FolderRemoval.h"
#include "App/Support/Paths.h"

#include <utility>

namespace quillmount {

namespace {

QCoro::Task<> deleteAll(QStringList paths) {
    co_await FolderRemoval::deleteAll(std::move(paths));
}

} // namespace

QCoro::Task<> CacheRemoval::begin() {
    FolderRemoval::SetAside cache = FolderRemoval::setAside(Paths::cacheDirectory());
    if (cache.isComplete) {
        spawn(deleteAll(std::move(cache.toDelete)));
        co_return;
    }
    co_await deleteAll(std::move(cache.toDelete));
}

void CacheRemoval::finish() {
    QStringList left = FolderRemoval::leftOf({Paths::cacheDirectory(), Paths::supportFolder(), Paths::logs()});
    if (!left.isEmpty())
        spawn(deleteAll(std::move(left)));
}

} // namespace quillmount
