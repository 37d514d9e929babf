// SPDX-License-Identifier: LicenseRef-Quillmount
#include "Tests/Support/MountedEngine.h"
#include "Tests/Support/LocalGoogle.h"
#include "Tests/Support/TestFiles.h"
#include "Tests/Support/WaitFor.h"

#include <QDir>
#include <QFile>
#include <QHostAddress>
#include <QTcpServer>
#include <QTcpSocket>

#include <sys/mount.h>
#include <sys/prctl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <csignal>

namespace quillmount {
namespace {

QString program(const QString &name) {
    return qEnvironmentVariable("QUILLMOUNT_BIN") + u'/' + name;
}

quint16 freePort() {
    QTcpServer server;
    server.listen(QHostAddress::LocalHost);
    return server.serverPort();
}

bool answers(quint16 port) {
    QTcpSocket socket;
    socket.connectToHost(QHostAddress(QHostAddress::LocalHost), port);
    return socket.waitForConnected(200);
}

} // namespace

MountedEngine::MountedEngine(const QStringList &extraEngineArguments)
    : m_extra(extraEngineArguments) {
    m_remote = backend();
    const QDir directory(m_directory.path());
    for (const auto *name : {"backend", "cache", "local", "mnt"})
        directory.mkdir(QLatin1StringView(name));
    m_engine.setStandardOutputFile(QProcess::nullDevice());
    m_engine.setStandardErrorFile(QProcess::nullDevice());
    m_engine.setChildProcessModifier([] {
        setsid();
        prctl(PR_SET_PDEATHSIG, SIGKILL);
    });
}

MountedEngine::MountedEngine(const LocalGoogle &google, const QStringList &extraEngineArguments)
    : MountedEngine(extraEngineArguments) {
    m_remote = QStringLiteral("drive:Quillmount");
    putFile(m_directory.filePath(QStringLiteral("engine.conf")), google.engineConfiguration());
    m_engine.setProcessEnvironment(google.environment());
}

MountedEngine::~MountedEngine() {
    for (const QString &path : std::as_const(m_mounts)) {
        const pid_t process = mountProcess(path);
        if (process > 0) {
            ::kill(process, SIGCONT);
            ::kill(process, SIGKILL);
            (void)waitFor([&] { return mountProcess(path) < 0; });
        }
        for (int i = 0; i < 8 && isMounted(path); ++i)
            QProcess::execute(QStringLiteral("fusermount3"), {QStringLiteral("-uqz"), path});
        ::chmod(QFile::encodeName(path).constData(), 0700);
    }
    if (m_engine.state() != QProcess::NotRunning)
        signalEngine(SIGKILL);
}

bool MountedEngine::startEngine() {
    // Another program may take the port between its choice and its use.
    for (int attempt = 0; attempt < 3; ++attempt) {
        m_port = freePort();
        const QString address = QStringLiteral("127.0.0.1:%1").arg(m_port);
        QStringList arguments{QStringLiteral("serve"), QStringLiteral("nfs"), m_remote};
        const auto add = [&](const char *flag, const QString &value) { arguments << QLatin1StringView(flag) << value; };
        add("--addr", address);
        add("--config", m_directory.filePath(QStringLiteral("engine.conf")));
        add("--cache-dir", m_directory.filePath(QStringLiteral("cache")));
        add("--vfs-cache-mode", QStringLiteral("full"));
        add("--vfs-cache-max-size", QStringLiteral("20000000000"));
        add("--vfs-write-back", QStringLiteral("1s"));
        add("--vfs-read-ahead", QStringLiteral("256M"));
        add("--buffer-size", QStringLiteral("64M"));
        add("--dir-cache-time", QStringLiteral("1000h"));
        add("--nfs-cache-type", QStringLiteral("disk"));
        add("--log-file", m_directory.filePath(QStringLiteral("engine.log")));
        add("--log-level", QStringLiteral("NOTICE"));
        m_engine.start(program(QStringLiteral("QuillmountEngine")), arguments + m_extra);
        if (!m_engine.waitForStarted())
            return false;
        if (waitFor([&] { return m_engine.waitForFinished(0) || answers(m_port); }) &&
            m_engine.state() == QProcess::Running)
            return true;
    }
    return false;
}

QString MountedEngine::mountProgram() {
    return program(QStringLiteral("quillmount-mount"));
}

QStringList MountedEngine::mountArguments(const QString &path, quint16 port, int deadTimeout) {
    return {QStringLiteral("-o"),
            QStringLiteral("port=%1,mountport=%1,tcp,vers=3,locallocks,nodev,nosuid,deadtimeout=%2")
                .arg(port)
                .arg(deadTimeout),
            QStringLiteral("quillmount.localhost:/"), path};
}

int MountedEngine::mountAt(const QString &path, quint16 port, int deadTimeout) {
    if (!m_mounts.contains(path))
        m_mounts << path;
    QProcess command;
    command.start(mountProgram(), mountArguments(path, port, deadTimeout));
    const bool ended = command.waitForFinished(20'000);
    m_complaint = QString::fromLocal8Bit(command.readAllStandardError());
    return ended && command.exitStatus() == QProcess::NormalExit ? command.exitCode() : -1;
}

bool MountedEngine::unmount(const QString &path) {
    return QProcess::execute(QStringLiteral("fusermount3"), {QStringLiteral("-u"), path}) == 0 &&
           waitFor([&] { return mountProcess(path) < 0; });
}

pid_t MountedEngine::mountProcess(const QString &path) {
    const QStringList entries = QDir(QStringLiteral("/proc")).entryList(QDir::Dirs);
    for (const QString &entry : entries) {
        bool isNumber = false;
        const pid_t pid = entry.toInt(&isNumber);
        QFile file(QStringLiteral("/proc/%1/cmdline").arg(entry));
        if (!isNumber || !file.open(QIODevice::ReadOnly))
            continue;
        const QList<QByteArray> words = file.readAll().split('\0');
        if (words.size() >= 5 && words.first().endsWith("/quillmount-mount") && words.at(4) == QFile::encodeName(path))
            return pid;
    }
    return -1;
}

bool MountedEngine::isMounted(const QString &path) {
    QFile file(QStringLiteral("/proc/self/mountinfo"));
    return file.open(QIODevice::ReadOnly) && file.readAll().contains(" / " + QFile::encodeName(path) + " ");
}

void MountedEngine::signalEngine(int signal) {
    ::kill(static_cast<pid_t>(m_engine.processId()), signal);
    if (signal == SIGKILL)
        m_engine.waitForFinished();
}

QString MountedEngine::makeMountPoint(const QString &name) {
    QDir(m_directory.path()).mkdir(name);
    return m_directory.filePath(name);
}

QString MountedEngine::engineLog() const {
    return QString::fromUtf8(contentOf(m_directory.filePath(QStringLiteral("engine.log"))));
}

} // namespace quillmount
