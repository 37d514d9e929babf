// SPDX-License-Identifier: LicenseRef-Quillmount
#include "Mount/Unmounter.h"

#include "Mount/MountPoint.h"

#include <fcntl.h>
#include <linux/close_range.h>
#include <poll.h>
#include <sys/mount.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>

namespace quillmount::mount {
namespace {

using namespace std::chrono_literals;

// The helper ends well before this unless the kernel holds it; then it is left to itself.
constexpr auto runTimeout = 10s;
// In milliseconds.
constexpr int syncTimeout = 700;

// Has the kernel hand over the pages that programs changed through memory maps, before a busy mount is cut off. In a
// process of its own, since nothing ends it while the server does not answer.
void syncMount(const char *path) {
    const pid_t helper = fork();
    if (helper == 0) {
        const int folder = open(path, O_RDONLY | O_DIRECTORY | O_CLOEXEC);
        _exit(folder >= 0 ? syncfs(folder) : 1);
    }
    pollfd ended{static_cast<int>(syscall(SYS_pidfd_open, helper, 0)), POLLIN, 0};
    if (helper > 0 && ended.fd >= 0 && poll(&ended, 1, syncTimeout) == 0)
        kill(helper, SIGKILL);
}

[[noreturn]] void runChild(const char *path, bool lazily) {
    // The kernel takes a mount for alive as long as anybody has its descriptor.
    close_range(STDERR_FILENO + 1, ~0U, 0);
    if (lazily)
        syncMount(path);
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
    const auto limit = m_loop.at(EventLoop::Clock::now() + runTimeout, [this] {
        kill(m_child, SIGKILL);
        m_ended.open();
    });
    if (m_process >= 0)
        co_await m_ended.wait();
    m_loop.cancel(limit);
    co_return !isMountedHere(path, device);
}

} // namespace quillmount::mount
