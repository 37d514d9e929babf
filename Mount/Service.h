// SPDX-License-Identifier: LicenseRef-Quillmount
#pragma once

#include "Mount/FuseSession.h"
#include "Mount/MountOptions.h"
#include "Mount/MountPoint.h"
#include "Mount/SignalPipe.h"
#include "Mount/Unmounter.h"

namespace quillmount::mount {

// The process behind a mount: asks the server, mounts, tells the command, and serves until it is told to end, the
// mount is removed, or the server is gone.
//
// On its socket to the command it writes one line, `ok` or an error message, and then waits for a byte. If the command
// ends before it sends that byte, the mount is taken back, so that nobody finds a mount that was given up for lost.
//
// Told to end, it detaches the mount, settles what was written, and has ended within three seconds, whatever programs
// and server do.
class Service final : private Pollable {
public:
    Service(MountOptions options, std::string address, int channel);
    ~Service() override;

    // Runs to the end. Gives the exit status.
    int run();

private:
    Task<void> bringUp();
    Task<std::string> tryMount();
    Task<void> takeDown();
    void report(const std::string &line);
    void leave();
    void signalled();
    void boundTheEnd();
    bool commandIsThere() const;

    int pollDescriptor() const override { return m_channel; }
    short pollEvents() const override;
    void pollReady(short events) override;

    MountOptions m_options;
    int m_channel;
    int m_errorOutput = -1;
    EventLoop m_loop;
    SignalPipe m_signals;
    NfsClient m_client;
    FileSystem m_fileSystem;
    FuseSession m_session;
    Unmounter m_unmounter;
    MountPoint m_mountPoint;
    bool m_mounted = false;
    bool m_reported = false;
    bool m_committed = false;
    bool m_leaving = false;
    bool m_endIsBounded = false;
    bool m_done = false;
    int m_status = 1;
};

} // namespace quillmount::mount
