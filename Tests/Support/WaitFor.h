// SPDX-License-Identifier: LicenseRef-Quillmount
#pragma once

#include <QtGlobal>

#include <chrono>
#include <functional>

namespace quillmount {

// Handles events until `condition` holds; false when it does not within the timeout.
[[nodiscard]] bool waitFor(const std::function<bool()> &condition,
                           std::chrono::milliseconds timeout = std::chrono::seconds(20));

// Handles what there is to handle now, or comes within a few milliseconds.
void handleEvents();

// Whether a process of this id exists, a zombie included.
[[nodiscard]] bool processExists(qint64 pid);

} // namespace quillmount
