// SPDX-License-Identifier: LicenseRef-Quillmount
#include "Mount/FuseDevice.h"
#include "Mount/LoopbackHost.h"
#include "Mount/Service.h"
#include "MountList/MountList.h"

#include <linux/close_range.h>
#include <malloc.h>
#include <poll.h>
#include <sys/mount.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <cstdio>

namespace {

using namespace quillmount;
using namespace quillmount::mount;
using namespace std::chrono_literals;
using Clock = EventLoop::Clock;

// The command gives up well before whoever runs it does.
constexpr auto mountTimeout = 14s;
constexpr auto retreatTimeout = 4s;

int milliseconds(Clock::time_point until) {
    const auto left = std::chrono::ceil<std::chrono::milliseconds>(until - Clock::now()).count();
    return static_cast<int>(std::max<long long>(left, 0));
}

int fail(const std::string &text) {
    std::fprintf(stderr, "quillmount-mount: %s\n", text.c_str());
    return 1;
}

// The process that stays behind: a session of its own, nothing inherited.
[[noreturn]] void runService(const MountOptions &options, int channel) {
    setsid();
    SignalPipe::resetAll();
    const int kept = 3;
    if (channel != kept)
        dup2(channel, kept);
    close_range(kept + 1, ~0U, 0);
    if (chdir("/") != 0)
        _exit(1);
    // Blocks of a megabyte come and go all the time; fetching each from the kernel would cost more than filling it.
    mallopt(M_MMAP_THRESHOLD, 32 << 20);
    mallopt(M_TRIM_THRESHOLD, 64 << 20);
    const auto address = loopbackAddress(options.host, resolveWithSystem);
    if (!address) {
        const std::string text = "the host " + options.host + " is not this machine\n";
        send(kept, text.data(), text.size(), MSG_NOSIGNAL);
        _exit(1);
    }
    Service service(options, *address, kept);
    // Coroutines may still wait for a server that does not answer; nobody waits for them any more.
    _exit(service.run());
}

// Waits for the service's line. Gives an empty text when it ended without one or the command is to end.
std::string awaitLine(int channel, const SignalPipe &signals) {
    const auto limit = Clock::now() + mountTimeout;
    std::string line;
    while (line.empty() || line.back() != '\n') {
        pollfd descriptors[2] = {{channel, POLLIN, 0}, {signals.pollDescriptor(), POLLIN, 0}};
        const int ready = poll(descriptors, 2, milliseconds(limit));
        if (signals.hasSignal() || ready == 0)
            return {};
        if (ready < 0)
            continue;
        char text[512];
        const ssize_t size = recv(channel, text, sizeof text, 0);
        if (size <= 0)
            return {};
        line.append(text, static_cast<std::size_t>(size));
    }
    line.pop_back();
    return line;
}

// Removes a mount whose service was killed before it could do so itself.
void removeOrphan(const MountOptions &options) {
    const std::string path = resolveMountPoint(options.mountPoint);
    const auto mounts = mountsAt(path);
    const bool ours = !mounts.empty() && mounts.back().fileSystem == MountPoint::fileSystem &&
                      mounts.back().source == options.source();
    if (!ours || umount2(path.c_str(), MNT_DETACH | UMOUNT_NOFOLLOW) == 0)
        return;
    const pid_t helper = fork();
    if (helper == 0) {
        execlp("fusermount3", "fusermount3", "-u", "-q", "-z", "--", path.c_str(), nullptr);
        _exit(127);
    }
    waitpid(helper, nullptr, 0);
}

// Makes sure that no mount appears later: the service sees that the command is gone and takes its mount back.
void retreat(pid_t service, int channel, const MountOptions &options) {
    close(channel);
    const auto limit = Clock::now() + retreatTimeout;
    int status = 0;
    while (waitpid(service, &status, WNOHANG) == 0) {
        if (Clock::now() >= limit)
            kill(service, SIGKILL);
        poll(nullptr, 0, 10);
    }
    if (WIFSIGNALED(status))
        removeOrphan(options);
}

bool isShown(const MountOptions &options) {
    const auto mounts = mountsAt(resolveMountPoint(options.mountPoint));
    return mounts.size() == 1 && mounts.front().fileSystem == MountPoint::fileSystem &&
           mounts.front().source == options.source();
}

int runCommand(const MountOptions &options) {
    SignalPipe::resetAll();
    // Before anything is asked of the server, which may take its time.
    if (const std::string message = fuseDeviceError(); !message.empty())
        return fail(message);
    const SignalPipe signals({});
    int channel[2];
    if (socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, channel) != 0)
        return fail("cannot make a socket");
    const pid_t service = fork();
    if (service < 0)
        return fail("cannot start a process");
    if (service == 0)
        runService(options, channel[1]);
    close(channel[1]);

    std::string line = awaitLine(channel[0], signals);
    if (line == "ok" && !isShown(options))
        line = "the kernel does not show the mount";
    if (line == "ok" && !signals.hasSignal() && send(channel[0], "c", 1, MSG_NOSIGNAL) == 1)
        _exit(0); // while signals are still handled: from here on the mount stays, and the status says so
    retreat(service, channel[0], options);
    if (signals.hasSignal())
        return fail("told to end before the mount was complete");
    return fail(line.empty() || line == "ok" ? "the mount could not be completed in time" : line);
}

} // namespace

int main(int count, char **arguments) {
    // What passes through here is the user's own files. A handler that core files are piped to gets them with 0 as
    // well.
    const rlimit coreFiles{1, 1};
    setrlimit(RLIMIT_CORE, &coreFiles);
    const auto parsed = parseMountOptions({arguments + 1, arguments + count});
    if (const auto *message = std::get_if<std::string>(&parsed))
        return fail(*message);
    MountOptions options = std::get<MountOptions>(parsed);
    const char *tag = getenv("QUILLMOUNT_DRIVE");
    options.tag = tag ? tag : "";
    // It becomes part of a mount option.
    if (options.tag.find_first_not_of("0123456789abcdef") != std::string::npos)
        return fail("the mark of the drive is not a hexadecimal number");
    return runCommand(options);
}
