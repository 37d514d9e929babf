// SPDX-License-Identifier: LicenseRef-Quillmount
#pragma once

#include "Mount/FileSystem.h"

#include <memory>
#include <string>

namespace quillmount::mount {

// The kernel's side of the mount: takes its requests and hands them to the file system.
class FuseSession final : public Pollable {
public:
    // A program that is killed while the server is silent gets its answer after `deadTime` at the latest.
    FuseSession(EventLoop &loop, FileSystem &fileSystem, EventLoop::Clock::duration deadTime);
    ~FuseSession() override;
    FuseSession(const FuseSession &) = delete;
    FuseSession &operator=(const FuseSession &) = delete;

    // Mounts at `path`. Blocks while the system's helper runs. Gives false and leaves the reason on standard error.
    bool mount(const std::string &source, const std::string &path);
    // True once the kernel and this program have agreed on how to talk.
    bool isEstablished() const { return m_established; }
    // True once the kernel has let go of the mount.
    bool hasEnded() const { return m_ended; }

    // Takes no more requests; those that were taken are answered.
    void stop() { m_stopped = true; }

    int pollDescriptor() const override { return m_ended || m_stopped ? -1 : m_descriptor; }
    short pollEvents() const override;
    void pollReady(short events) override;

private:
    friend struct FuseOperations;

    Request request(fuse_req_t from);
    // The block of the request being handled when it is worth keeping instead of copying; otherwise an empty one.
    Buffer takeBlock(const char *data, std::size_t size);

    EventLoop &m_loop;
    FileSystem &m_fileSystem;
    EventLoop::Clock::duration m_deadTime;
    fuse_session *m_session = nullptr;
    fuse_buf m_buffer{};
    int m_descriptor = -1;
    bool m_established = false;
    bool m_ended = false;
    bool m_stopped = false;
};

} // namespace quillmount::mount
