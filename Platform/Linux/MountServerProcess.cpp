// SPDX-License-Identifier: LicenseRef-Quillmount
#include "Platform/Linux/MountServerProcess.h"

#include "Platform/Linux/PlatformLog.h"

#include <QByteArray>
#include <QDir>
#include <QFile>
#include <QList>

#include <csignal>
#include <poll.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

namespace quillmount {

using namespace Qt::StringLiterals;

namespace {

QString processFolder(pid_t pid) {
    return u"/proc/"_s + QString::number(pid);
}

QByteArray contents(const QString &path) {
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

// The fields of /proc/PID/stat that follow the program's name, which may itself hold spaces and parentheses.
QList<QByteArray> statFields(pid_t pid) {
    const QByteArray stat = contents(processFolder(pid) + u"/stat"_s);
    const qsizetype name = stat.lastIndexOf(')');
    return name < 0 ? QList<QByteArray>() : stat.mid(name + 2).split(' ');
}

quint64 startTime(pid_t pid) {
    return statFields(pid).value(19).toULongLong();
}

bool serves(pid_t pid, const QByteArray &mountPoint) {
    struct stat folder = {};
    if (::stat(QFile::encodeName(processFolder(pid)).constData(), &folder) != 0 || folder.st_uid != ::geteuid())
        return false;
    QList<QByteArray> arguments = contents(processFolder(pid) + u"/cmdline"_s).split('\0');
    // Every argument, also the last, has its own end mark.
    arguments.removeLast();
    return arguments.size() > 1 && arguments.last() == mountPoint &&
           arguments.first().mid(arguments.first().lastIndexOf('/') + 1) == "quillmount-mount";
}

} // namespace

std::unique_ptr<MountServerProcess> MountServerProcess::find(const QString &mountPoint) {
    const QByteArray name = QFile::encodeName(mountPoint);
    pid_t youngest = 0;
    const QStringList entries = QDir(u"/proc"_s).entryList(QDir::Dirs | QDir::NoDotAndDotDot, QDir::Unsorted);
    for (const QString &entry : entries) {
        const pid_t pid = entry.toInt();
        if (pid > 0 && serves(pid, name) && (youngest == 0 || startTime(pid) >= startTime(youngest)))
            youngest = pid;
    }
    if (youngest == 0)
        return nullptr;
    const int descriptor = int(::syscall(SYS_pidfd_open, youngest, 0));
    if (descriptor < 0) {
        const QString error = systemError();
        qCWarning(platformLog) << "the mount process can only be polled:" << error;
    }
    std::unique_ptr<MountServerProcess> process(new MountServerProcess(name, youngest, descriptor));
    // It could have ended, and its number gone to another, before the descriptor was there.
    return serves(youngest, name) ? std::move(process) : nullptr;
}

MountServerProcess::~MountServerProcess() {
    if (m_descriptor >= 0)
        ::close(m_descriptor);
}

bool MountServerProcess::hasEnded() const {
    if (m_descriptor < 0)
        return !serves(m_pid, m_mountPoint);
    pollfd end = {m_descriptor, POLLIN, 0};
    return ::poll(&end, 1, 0) > 0;
}

bool MountServerProcess::isStopped() const {
    return !hasEnded() && statFields(m_pid).value(0) == "T";
}

bool MountServerProcess::resume() {
    if (m_descriptor < 0)
        return ::kill(m_pid, SIGCONT) == 0;
    return ::syscall(SYS_pidfd_send_signal, m_descriptor, SIGCONT, nullptr, 0) == 0;
}

} // namespace quillmount
