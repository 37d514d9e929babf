// SPDX-License-Identifier: LicenseRef-Quillmount
#pragma once

#include "Mount/EventLoop.h"

#include <sys/types.h>

#include <string>

namespace quillmount::mount {

// Removes a mount from a process of its own: the kernel writes back what it holds while it unmounts, and this program
// has to serve those requests.
class Unmounter final : public Pollable {
public:
    explicit Unmounter(EventLoop &loop);
    ~Unmounter() override;
    Unmounter(const Unmounter &) = delete;
    Unmounter &operator=(const Unmounter &) = delete;

    // Unmounts `path` if the mount there is still that of `device`, never a later one. A busy mount is only removed
    // when `lazily`. Gives true when the kernel's list no longer shows it.
    Task<bool> unmount(std::string path, std::string device, bool lazily);

    int pollDescriptor() const override { return m_process; }
    short pollEvents() const override;
    void pollReady(short events) override;

private:
    EventLoop &m_loop;
    pid_t m_child = -1;
    int m_process = -1;
    Gate m_ended;
};

} // namespace quillmount::mount
