// SPDX-License-Identifier: LicenseRef-Quillmount
#pragma once

#include "Platform/TerminationSignals.h"

#include <QSocketNotifier>

#include <array>
#include <csignal>
#include <memory>

namespace quillmount {

// Handlers that write the signal's number into a pipe, which the main thread reads. Handlers and not ignored or blocked
// signals, because a program that is started inherits the latter two and would then not end when it is told to.
// At most one may be installed at a time. After its end the signals do nothing: the application is then about to end by
// itself, and a second request must not change its exit status.
class LinuxTerminationSignals final : public TerminationSignals {
    Q_OBJECT

public:
    using TerminationSignals::TerminationSignals;
    ~LinuxTerminationSignals() override;

    // SIGTERM and SIGINT are reported even if the starter had them ignored or blocked, as shells do with background
    // jobs: they have to eject the drive. A SIGHUP that was ignored (nohup) goes on to mean nothing.
    void install() override;

private:
    void readPipe();

    std::array<int, 2> m_pipe = {-1, -1};
    std::unique_ptr<QSocketNotifier> m_notifier;
    bool m_hangUpIgnored = false;
};

} // namespace quillmount
