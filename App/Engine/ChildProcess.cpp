// SPDX-License-Identifier: LicenseRef-Quillmount
#include "App/Engine/ChildProcess.h"

#include <csignal>
#include <fcntl.h>
#include <linux/close_range.h>
#include <sys/syscall.h>
#include <unistd.h>

namespace quillmount {

namespace {

// Marked instead of closed: the one who started the child still has a use for a descriptor of its own until the exec.
void closeAtExec(unsigned first, unsigned last) {
    if (first > last || syscall(SYS_close_range, first, last, CLOSE_RANGE_CLOEXEC) == 0)
        return;
    // A kernel without that call. Nothing here has its address taken: the child may still run in its parent's memory,
    // where the address sanitizer's bookkeeping of the stack would be the parent's, too.
    const auto limit = unsigned(sysconf(_SC_OPEN_MAX));
    for (unsigned descriptor = first; descriptor <= last && descriptor < limit; ++descriptor)
        fcntl(int(descriptor), F_SETFD, FD_CLOEXEC);
}

} // namespace

void ChildProcess::keepEnded() {
    struct sigaction present = {};
    sigaction(SIGCHLD, nullptr, &present);
    const bool forgetsThem = (present.sa_flags & SA_SIGINFO) == 0 && present.sa_handler == SIG_IGN;
    if (!forgetsThem && (present.sa_flags & SA_NOCLDWAIT) == 0)
        return;
    if (forgetsThem)
        present.sa_handler = SIG_DFL;
    present.sa_flags &= ~SA_NOCLDWAIT;
    sigaction(SIGCHLD, &present, nullptr);
}

void ChildProcess::prepare(int inherited) {
    setsid();
    struct sigaction standard = {};
    standard.sa_handler = SIG_DFL;
    for (int number = 1; number < NSIG; ++number)
        sigaction(number, &standard, nullptr);
    sigset_t none;
    sigemptyset(&none);
    sigprocmask(SIG_SETMASK, &none, nullptr);
    constexpr unsigned firstOther = STDERR_FILENO + 1;
    if (inherited < 0) {
        closeAtExec(firstOther, ~0U);
        return;
    }
    closeAtExec(firstOther, unsigned(inherited) - 1);
    closeAtExec(unsigned(inherited) + 1, ~0U);
    fcntl(inherited, F_SETFD, 0);
}

} // namespace quillmount
