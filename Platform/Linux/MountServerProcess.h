// SPDX-License-Identifier: LicenseRef-Quillmount
#pragma once

#include <QByteArray>
#include <QString>

#include <memory>
#include <optional>
#include <sys/types.h>

namespace quillmount {

// The process that serves a mount, held by a descriptor so that a later process of the same number is never meant.
class MountServerProcess {
public:
    // The process of this user that was started to mount `mountPoint`, the youngest of several; null when there is
    // none.
    [[nodiscard]] static std::unique_ptr<MountServerProcess> find(const QString &mountPoint);

    ~MountServerProcess();
    Q_DISABLE_COPY_MOVE(MountServerProcess)

    [[nodiscard]] pid_t pid() const { return m_pid; }
    // Becomes readable when the process ends; -1 on a kernel that has no such descriptors.
    [[nodiscard]] int descriptor() const { return m_descriptor; }
    [[nodiscard]] bool hasEnded() const;
    // Stopped by a signal, as by Ctrl+Z, and so serving nobody.
    [[nodiscard]] bool isStopped() const;
    bool resume();

private:
    MountServerProcess(const QByteArray &mountPoint, pid_t pid, int descriptor)
        : m_mountPoint(mountPoint)
        , m_pid(pid)
        , m_descriptor(descriptor) {}

    QByteArray m_mountPoint;
    pid_t m_pid;
    int m_descriptor;
};

} // namespace quillmount
