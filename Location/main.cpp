// SPDX-License-Identifier: LicenseRef-Quillmount
// The one program of Quillmount that acts as root. It takes a verb and nothing else from whoever starts it.
#include "Location/LocationSetup.h"

#include <charconv>
#include <cstdio>
#include <cstdlib>
#include <linux/close_range.h>
#include <optional>
#include <sys/mman.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>

namespace {

using namespace quillmount;
constexpr auto here = LocationSetup::System::gnuLinux;

int fail(const char *reason) {
    std::fprintf(stderr, "quillmount-location: %s\n", reason);
    return 1;
}

// The user who asked, as the system says it.
std::optional<unsigned> askingUser() {
    const char *variable = std::getenv("PKEXEC_UID");
    const std::string_view text = variable ? variable : "";
    unsigned uid = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), uid);
    // The highest number means "none".
    if (text.empty() || error != std::errc{} || end != text.data() + text.size() || uid == ~0U)
        return std::nullopt;
    return uid;
}

// Runs the script with nothing that came from outside. True when it ran to its end.
bool run(const std::string &script) {
    // In memory: what is left behind and holds it open makes nobody wait.
    const int output = memfd_create("output", MFD_CLOEXEC);
    if (output < 0)
        return false;
    const pid_t shell = fork();
    if (shell == 0) {
        const std::string path = "PATH=/usr/sbin:/usr/bin:/sbin:/bin";
        const char *const environment[] = {path.c_str(), "LC_ALL=C", nullptr};
        const char *const arguments[] = {"/bin/sh", "-c", script.c_str(), nullptr};
        dup2(output, STDOUT_FILENO);
        close_range(STDERR_FILENO + 1, ~0U, CLOSE_RANGE_CLOEXEC);
        if (chdir("/") == 0)
            execve(arguments[0], const_cast<char **>(arguments), const_cast<char **>(environment));
        _exit(127);
    }
    int status = 0;
    while (shell > 0 && waitpid(shell, &status, 0) < 0 && errno == EINTR) {
    }
    std::string text(64 * 1024, '\0');
    const ssize_t size = pread(output, text.data(), text.size(), 0);
    text.resize(size > 0 ? static_cast<std::size_t>(size) : 0);
    return shell > 0 && WIFEXITED(status) && WEXITSTATUS(status) == 0 &&
           text.find(LocationSetup::successMarker) != std::string::npos;
}

} // namespace

int main(int count, char **arguments) {
    const std::string_view verb = count == 2 ? arguments[1] : "";
    if (verb != "install" && verb != "uninstall")
        return fail("usage: quillmount-location install|uninstall");
    if (setresgid(0, 0, 0) != 0 || setresuid(0, 0, 0) != 0)
        return fail("only root can do that");
    const auto uid = askingUser();
    if (!uid)
        return fail("it is not known who asks");
    // Half a set-up is worse than one that nobody waits for any more.
    for (const int number : {SIGHUP, SIGINT, SIGTERM, SIGPIPE})
        std::signal(number, SIG_IGN);
    const std::string script =
        verb == "install" ? LocationSetup::installScript(here, *uid) : LocationSetup::uninstallScript(here, *uid);
    return run(LocationSetup::withMarker(script)) ? 0 : fail("it did not run to its end");
}
