// SPDX-License-Identifier: LicenseRef-Quillmount
#pragma once

#include <QtGlobal>

#include <functional>

namespace quillmount {

// Handles events until `condition` holds; false when it does not within 15 seconds.
[[nodiscard]] bool waitFor(const std::function<bool()> &condition);

// Handles what there is to handle now, or comes within a few milliseconds.
void handleEvents();

// Whether a process of this id exists, a zombie included.
[[nodiscard]] bool processExists(qint64 pid);

} // namespace quillmount
