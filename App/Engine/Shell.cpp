// SPDX-License-Identifier: LicenseRef-Quillmount
#include "App/Engine/Shell.h"

#include "App/Concurrency/Background.h"
#include "App/Engine/ChildProcess.h"
#include "Platform/OwnEnvironment.h"

#include <QFile>
#include <QLoggingCategory>

#include <algorithm>
#include <chrono>
#include <csignal>
#include <fcntl.h>
#include <mutex>
#include <optional>
#include <spawn.h>
#include <sys/mman.h>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>

namespace quillmount {

Q_DECLARE_LOGGING_CATEGORY(engineLog)

namespace {

using SteadyClock = std::chrono::steady_clock;

// What a command writes to standard error. In memory, so that nobody has to read along while the command runs.
class ErrorOutput {
public:
    ErrorOutput()
        : m_descriptor(::memfd_create("errors", MFD_CLOEXEC)) {}
    ~ErrorOutput() {
        if (m_descriptor >= 0)
            ::close(m_descriptor);
    }
    Q_DISABLE_COPY_MOVE(ErrorOutput)

    // Below 0 when there is none.
    [[nodiscard]] int descriptor() const { return m_descriptor; }

    [[nodiscard]] QByteArray lastLine() const {
        char text[2048];
        const off_t end = ::lseek(m_descriptor, 0, SEEK_END);
        const ssize_t size = ::pread(m_descriptor, text, sizeof text, std::max(end - off_t(sizeof text), off_t(0)));
        const QByteArray lines = QByteArray(text, std::max(size, ssize_t(0))).trimmed();
        return lines.mid(lines.lastIndexOf('\n') + 1);
    }

private:
    int m_descriptor;
};

// Writes to the log why a command failed, if the command says so; once, since it may be retried many times.
void logFailure(int status, const ErrorOutput &errors) {
    static std::mutex mutex;
    static auto &last = *new QByteArray; // a command may end later than the application
    const QByteArray line = status == 0 ? QByteArray() : errors.lastLine();
    const std::lock_guard guard(mutex);
    if (!line.isEmpty() && line != last)
        qCWarning(engineLog, "a command failed: %s", line.constData());
    last = line;
}

class SpawnSettings {
public:
    explicit SpawnSettings(const ErrorOutput &errors) {
        posix_spawn_file_actions_init(&actions);
        posix_spawn_file_actions_addopen(&actions, STDOUT_FILENO, "/dev/null", O_WRONLY, 0);
        posix_spawn_file_actions_adddup2(&actions, errors.descriptor() >= 0 ? errors.descriptor() : STDOUT_FILENO,
                                         STDERR_FILENO);
        // A mount command leaves a program behind that lives on.
        posix_spawn_file_actions_addclosefrom_np(&actions, STDERR_FILENO + 1);
        posix_spawn_file_actions_addchdir_np(&actions, ChildProcess::workingDirectory);
        posix_spawnattr_init(&attributes);
        sigset_t all;
        sigfillset(&all);
        posix_spawnattr_setsigdefault(&attributes, &all);
        sigset_t none;
        sigemptyset(&none);
        posix_spawnattr_setsigmask(&attributes, &none);
        posix_spawnattr_setflags(&attributes, POSIX_SPAWN_SETSIGDEF | POSIX_SPAWN_SETSIGMASK | POSIX_SPAWN_SETSID);
    }
    ~SpawnSettings() {
        posix_spawnattr_destroy(&attributes);
        posix_spawn_file_actions_destroy(&actions);
    }
    Q_DISABLE_COPY_MOVE(SpawnSettings)

    posix_spawn_file_actions_t actions;
    posix_spawnattr_t attributes;
};

std::optional<pid_t> start(const Command &command, const ErrorOutput &errors) {
    QList<QByteArray> words{QFile::encodeName(command.executable)};
    for (const QString &argument : command.arguments)
        words.append(QFile::encodeName(argument));
    std::vector<char *> argv;
    for (QByteArray &word : words)
        argv.push_back(word.data());
    argv.push_back(nullptr);

    ChildProcess::keepEnded();
    const SpawnSettings settings(errors);
    pid_t pid = 0;
    if (posix_spawn(&pid, argv[0], &settings.actions, &settings.attributes, argv.data(),
                    OwnEnvironment::rawForChildren().data()) != 0)
        return std::nullopt;
    return pid;
}

int exitStatus(int waitStatus) {
    return WIFEXITED(waitStatus) ? WEXITSTATUS(waitStatus) : WTERMSIG(waitStatus);
}

// A command that nobody waits for any more still has to be collected, or it stays a zombie.
void collectWhenEnded(pid_t pid) {
    std::thread([pid] { waitpid(pid, nullptr, 0); }).detach();
}

int runBounded(const Command &command, double timeout, bool logsFailure) {
    const auto deadline =
        SteadyClock::now() + std::chrono::duration_cast<SteadyClock::duration>(std::chrono::duration<double>(timeout));
    const ErrorOutput errors;
    const std::optional<pid_t> pid = start(command, errors);
    if (!pid)
        return -1;

    // Most commands end within a few milliseconds, so the first looks come sooner than the later ones.
    constexpr auto maxPause = std::chrono::milliseconds(50);
    auto pause = std::chrono::milliseconds(2);
    for (;;) {
        int status = 0;
        const pid_t ended = waitpid(*pid, &status, WNOHANG);
        if (ended == *pid) {
            if (logsFailure)
                logFailure(exitStatus(status), errors);
            return exitStatus(status);
        }
        if (ended < 0 && errno != EINTR)
            return -1;
        if (SteadyClock::now() >= deadline) {
            collectWhenEnded(*pid);
            return -1;
        }
        std::this_thread::sleep_for(pause);
        pause = std::min(pause * 2, maxPause);
    }
}

} // namespace

int Shell::run(const Command &command, double timeout) {
    return runBounded(command, timeout, false);
}

int Shell::run(const QString &executable, const QStringList &arguments, double timeout) {
    return run(Command{executable, arguments}, timeout);
}

QCoro::Task<int> Shell::runInBackground(Command command, double timeout) {
    return inBackground([command = std::move(command), timeout] { return runBounded(command, timeout, true); });
}

} // namespace quillmount
