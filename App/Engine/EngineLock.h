// SPDX-License-Identifier: LicenseRef-Quillmount
#pragma once

#include <QtGlobal>

#include <optional>

namespace quillmount {

// The right to run an engine on the cache. The engine inherits the descriptor, so the lock is held for as long as that
// engine lives, whoever started it and whatever became of the application; this object only has to be there at its
// start.
class EngineLock {
public:
    // Absent when another engine has it, also after a second's wait for one that is just ending. A lock that the
    // file system cannot give is logged and counts as given: then there is no better knowledge.
    [[nodiscard]] static std::optional<EngineLock> acquire();

    EngineLock(EngineLock &&other) noexcept;
    EngineLock &operator=(EngineLock &&other) = delete;
    EngineLock(const EngineLock &) = delete;
    EngineLock &operator=(const EngineLock &) = delete;
    ~EngineLock();

    // For the engine to inherit; -1 when the file system gives no locks.
    [[nodiscard]] int descriptor() const { return m_descriptor; }

private:
    explicit EngineLock(int descriptor)
        : m_descriptor(descriptor) {}

    int m_descriptor;
};

} // namespace quillmount
