// SPDX-License-Identifier: LicenseRef-Quillmount
#pragma once

#include "Platform/MountTable.h"

#include <utility>

namespace quillmount {

// A watch whose signals are sent by a test, each at most once as the role promises.
class MemoryMountWatch final : public MountWatch {
public:
    explicit MemoryMountWatch(const QString &path)
        : m_path(path) {}

    void tend() override { ++m_tended; }

    void sendUnmounted() {
        if (!std::exchange(m_unmountedSent, true))
            Q_EMIT unmounted();
    }
    void sendServerGone() {
        if (!std::exchange(m_serverGoneSent, true))
            Q_EMIT serverGone();
    }

    [[nodiscard]] QString path() const { return m_path; }
    // How often `tend` was called.
    [[nodiscard]] int tended() const { return m_tended; }

private:
    QString m_path;
    int m_tended = 0;
    bool m_unmountedSent = false;
    bool m_serverGoneSent = false;
};

} // namespace quillmount
