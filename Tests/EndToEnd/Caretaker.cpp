// SPDX-License-Identifier: LicenseRef-Quillmount
#include "Tests/EndToEnd/Caretaker.h"

#include "Platform/Linux/MountInfo.h"
#include "Tests/EndToEnd/ProcessTable.h"

#include <QDeadlineTimer>
#include <QDir>
#include <QFile>
#include <QProcess>

#include <chrono>
#include <csignal>
#include <fcntl.h>
#include <poll.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

namespace quillmount {

using namespace std::chrono_literals;

namespace {

void unmountLazily(QByteArray mountPoint) {
    char program[] = "/usr/bin/fusermount3";
    char unmount[] = "-u";
    char lazily[] = "-z";
    char *arguments[] = {program, unmount, lazily, mountPoint.data(), nullptr};
    pid_t pid = 0;
    if (::posix_spawn(&pid, program, nullptr, nullptr, arguments, environ) == 0)
        ::waitpid(pid, nullptr, 0);
}

} // namespace

bool endEverything(const QByteArray &home, const QByteArray &mountPoint) {
    const QDeadlineTimer deadline(20s);
    for (;;) {
        const QList<ProcessInfo> processes = processesOf(home);
        for (const ProcessInfo &process : processes)
            ::kill(process.pid, SIGKILL);
        const bool mounted = isListed(mountPoint).value_or(true);
        if (mounted)
            unmountLazily(mountPoint);
        if (processes.isEmpty() && !mounted)
            return true;
        if (deadline.hasExpired())
            return false;
        ::poll(nullptr, 0, 20);
    }
}

Caretaker::Caretaker(const QByteArray &home, const QByteArray &mountPoint) {
    int ends[2] = {};
    if (::pipe2(ends, O_CLOEXEC) != 0)
        qFatal("no pipe");
    m_pid = ::fork();
    if (m_pid == 0) {
        ::setsid();
        ::close(ends[1]);
        char byte = 0;
        if (::read(ends[0], &byte, 1) == 0 && endEverything(home, mountPoint))
            QDir(QFile::decodeName(home)).removeRecursively();
        ::_exit(0);
    }
    ::close(ends[0]);
    m_pipe = ends[1];
}

Caretaker::~Caretaker() {
    const char done = 1;
    if (::write(m_pipe, &done, 1) == 1)
        ::waitpid(m_pid, nullptr, 0);
    ::close(m_pipe);
}

} // namespace quillmount
