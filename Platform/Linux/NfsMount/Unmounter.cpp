// SPDX-License-Identifier: LicenseRef-Quillmount
#include "Platform/Linux/NfsMount/Unmounter.h"

#include "Platform/Linux/NfsMount/MountPoint.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/mount.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>

namespace quillmount::nfsmount {
namespace {

using namespace std::chrono_literals;

/// The helper ends well before this unless the kernel holds it; then it is left to itself.
constexpr auto longestRun = 10s;

[[noreturn]] void runChild(const char *path, bool lazily) {
    // Pages that programs changed through memory maps reach the server before a busy mount is cut off.
    if (lazily) {
        const int folder = open(path, O_RDONLY | O_DIRECTORY | O_CLOEXEC);
        if (folder >= 0)
            syncfs(folder);
    }
    if (umount2(path, UMOUNT_NOFOLLOW | (lazily ? MNT_DETACH : 0)) == 0)
        _exit(0);
    if (lazily)
        execlp("fusermount3", "fusermount3", "-u", "-q", "-z", "--", path, nullptr);
    else
        execlp("fusermount3", "fusermount3", "-u", "-q", "--", path, nullptr);
    _exit(127);
}

} // namespace

Unmounter::Unmounter(EventLoop &loop)
    : m_loop(loop) {
    m_loop.add(this);
}

Unmounter::~Unmounter() {
    m_loop.remove(this);
    if (m_process >= 0)
        close(m_process);
}

short Unmounter::pollEvents() const {
    return POLLIN;
}

void Unmounter::pollReady(short) {
    waitpid(m_child, nullptr, WNOHANG);
    close(m_process);
    m_process = -1;
    m_ended.open();
}

Task<bool> Unmounter::unmount(std::string path, std::string device, bool lazily) {
    if (!isMountedHere(path, device))
        co_return true;
    m_child = fork();
    if (m_child < 0)
        co_return false;
    if (m_child == 0)
        runChild(path.c_str(), lazily);
    m_process = static_cast<int>(syscall(SYS_pidfd_open, m_child, 0));
    const auto limit = m_loop.at(EventLoop::Clock::now() + longestRun, [this] {
        kill(m_child, SIGKILL);
        m_ended.open();
    });
    if (m_process >= 0)
        co_await m_ended.wait();
    m_loop.cancel(limit);
    co_return !isMountedHere(path, device);
}

} // namespace quillmount::nfsmount
