// SPDX-License-Identifier: LicenseRef-Quillmount
#pragma once

#include <QCoroTask>

namespace quillmount {

// Deletes the engine's cache, which can hold many gigabytes, without keeping anybody waiting for it.
namespace CacheRemoval {

// Takes the cache folder away at once, under another name, and deletes it on a thread. Resolves when the cache
// folder is gone or empty; what was renamed may still be there. Failures are logged.
[[nodiscard]] QCoro::Task<> begin();

// Deletes on a thread what an earlier run took away and did not come to delete, of the cache and of everything else
// that an uninstall takes away.
void finish();

} // namespace CacheRemoval
} // namespace quillmount
