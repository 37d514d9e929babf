// SPDX-License-Identifier: LicenseRef-Quillmount
#pragma once

#include <QCoroTask>

#include <functional>

namespace quillmount {

// Runs `work` on a thread of its own and resumes on the main thread with what it returned. `work` owns copies of all it
// needs and uses no role of the platform: at the end of the application nobody waits for it, and the task that waits
// for it never resumes then.
[[nodiscard]] QCoro::Task<int> inBackground(std::function<int()> work);

} // namespace quillmount
