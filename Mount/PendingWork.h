// SPDX-License-Identifier: LicenseRef-Quillmount
#pragma once

#include "Mount/Task.h"

#include <cstddef>

namespace quillmount::mount {

// What must reach the server before the program may end.
struct PendingWork {
    // Bytes that may be pending for all files before a program that writes is made to wait.
    static constexpr std::size_t maxBytes = std::size_t{48} << 20;

    std::size_t bytes = 0; // written by programs and not confirmed by the server
    int files = 0;         // that have such bytes
    int background = 0;    // tasks that nobody waits for
    Gate progress;         // opens when any of this has become less

    bool isEmpty() const { return files == 0 && background == 0; }
};

} // namespace quillmount::mount
