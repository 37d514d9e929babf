// SPDX-License-Identifier: LicenseRef-Quillmount
#pragma once

#include "Platform/Linux/MountServerProcess.h"
#include "Platform/MountTable.h"

#include <QByteArray>
#include <QSocketNotifier>

namespace quillmount {

// Told by the kernel when its list of mounts changes and when the process that serves the mount ends.
class LinuxMountWatch final : public MountWatch {
    Q_OBJECT

public:
    explicit LinuxMountWatch(const QString &path);
    ~LinuxMountWatch() override;

    void tend() override;

private:
    void watchList();
    void watchServer();
    void check();
    void end();

    QString m_path;
    QByteArray m_name;
    int m_list = -1;
    std::unique_ptr<MountServerProcess> m_server;
    // Before the descriptors that they look at are closed, they go.
    std::unique_ptr<QSocketNotifier> m_listNotifier;
    std::unique_ptr<QSocketNotifier> m_serverNotifier;
    bool m_ended = false;
};

} // namespace quillmount
