// SPDX-License-Identifier: LicenseRef-Quillmount
#include "Tests/Support/Machine.h"
#include "Tests/Support/MountedEngine.h"
#include "Tests/Support/WaitFor.h"

#include <QDir>
#include <QFile>
#include <QTcpServer>
#include <QTest>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <atomic>
#include <csignal>
#include <thread>

using namespace quillmount;
using namespace Qt::StringLiterals;
using namespace std::chrono_literals;

// The program where it stands for the system's mount command: what it refuses, what it leaves behind, how it ends.
class MountCommandTest : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void cleanup();
    void refuses_data();
    void refuses();
    void saysWhatClosesTheDevice();
    void refusesWhatIsMounted();
    void mountsOnlyOnce();
    void keepsTheBareFolderClosed();
    void leavesNothingWhenToldToEnd_data();
    void leavesNothingWhenToldToEnd();
    void servesInASessionOfItsOwn();
    void endsWithAProgramInside();
    void flushesBeforeItEnds();
    void endsUnderWriters();
    void endsWhenUnmountedFromOutside();

private:
    int mode() const { return permissions(m_drive.mountPoint()); }
    static int permissions(const QString &path);
    bool isQuiet() const;

    MountedEngine m_drive;
};

void MountCommandTest::initTestCase() {
    QVERIFY(m_drive.startEngine());
}

void MountCommandTest::cleanup() {
    // After a failure, so that the next one starts from nothing.
    if (MountedEngine::isMounted(m_drive.mountPoint()))
        QProcess::execute(u"fusermount3"_s, {u"-uqz"_s, m_drive.mountPoint()});
}

int MountCommandTest::permissions(const QString &path) {
    struct stat status {};
    return ::stat(QFile::encodeName(path).constData(), &status) == 0 ? static_cast<int>(status.st_mode & 07777U) : -1;
}

bool MountCommandTest::isQuiet() const {
    return !MountedEngine::isMounted(m_drive.mountPoint()) && MountedEngine::mountProcess(m_drive.mountPoint()) < 0;
}

void MountCommandTest::refuses_data() {
    QTest::addColumn<QStringList>("arguments");
    const QStringList good = MountedEngine::mountArguments(u"MNT"_s, 1);
    const auto with = [&](int index, const QString &text) {
        QStringList changed = good;
        changed[index] = text;
        return changed;
    };
    QTest::newRow("no arguments") << QStringList();
    QTest::newRow("another machine") << with(2, u"192.0.2.1:/"_s);
    QTest::newRow("no folder") << with(3, u"MNT/absent"_s);
    QTest::newRow("nothing listens") << good;
}

void MountCommandTest::refuses() {
    QFETCH(QStringList, arguments);
    // A port that was free a moment ago stands for one where nothing listens.
    QTcpServer server;
    server.listen(QHostAddress::LocalHost);
    const quint16 free = server.serverPort();
    server.close();
    arguments.replaceInStrings(u"MNT"_s, m_drive.mountPoint());
    arguments.replaceInStrings(u"port=1,mountport=1"_s, u"port=%1,mountport=%1"_s.arg(free));
    QProcess command;
    command.start(MountedEngine::mountProgram(), arguments);
    QVERIFY(command.waitForFinished());
    QVERIFY(command.exitStatus() == QProcess::NormalExit && command.exitCode() != 0);
    const QByteArray message = command.readAllStandardError();
    QVERIFY2(message.startsWith("quillmount-mount: ") && message.count('\n') == 1, message.constData());
    QCOMPARE(command.readAllStandardOutput(), QByteArray());
    QVERIFY(isQuiet());
}

void MountCommandTest::saysWhatClosesTheDevice() {
    const QString missing = Machine::lacksMountNamespaces();
    QVERIFY2(missing.isEmpty(), qPrintable(missing));
    // A mount without devices closes it to everybody, root included, in a namespace that goes with the command.
    const QStringList asRoot = geteuid() == 0 ? QStringList() : QStringList{u"--map-root-user"_s};
    const QString script = u"mount --bind /dev/fuse /dev/fuse && "
                           "mount -o remount,bind,nodev,nosuid,noexec /dev/fuse && exec \"$@\""_s;
    QProcess command;
    command.start(u"unshare"_s,
                  asRoot + QStringList{u"--mount"_s, u"sh"_s, u"-c"_s, script, u"sh"_s, MountedEngine::mountProgram()} +
                      MountedEngine::mountArguments(m_drive.mountPoint(), m_drive.port()));
    // Well before the drive counts as failed, and before the server is asked.
    QVERIFY(command.waitForFinished(5000));
    QCOMPARE(command.readAllStandardError(), "quillmount-mount: cannot open /dev/fuse: Permission denied; "
                                             "let everybody open it, as root: chmod 666 /dev/fuse\n");
    QVERIFY(command.exitCode() != 0 && isQuiet());
}

void MountCommandTest::refusesWhatIsMounted() {
    QCOMPARE(m_drive.mount(), 0);
    QCOMPARE(m_drive.mount(), 1);
    QVERIFY(m_drive.complaint().contains(u"already"_s));
    // Also when it is a dead mount, which must not be touched.
    const pid_t process = MountedEngine::mountProcess(m_drive.mountPoint());
    ::kill(process, SIGSTOP);
    QCOMPARE(m_drive.mount(), 1);
    ::kill(process, SIGCONT);
    QVERIFY(m_drive.unmount());
}

void MountCommandTest::mountsOnlyOnce() {
    // Several at the same moment: one wins, the others say why not, and there is one mount.
    std::vector<std::unique_ptr<QProcess>> commands;
    for (int i = 0; i < 6; ++i) {
        commands.push_back(std::make_unique<QProcess>());
        commands.back()->start(MountedEngine::mountProgram(),
                               MountedEngine::mountArguments(m_drive.mountPoint(), m_drive.port()));
    }
    int succeeded = 0;
    for (const auto &command : commands) {
        QVERIFY(command->waitForFinished());
        succeeded += command->exitCode() == 0 ? 1 : 0;
    }
    QCOMPARE(succeeded, 1);
    QFile mounts(u"/proc/self/mountinfo"_s);
    QVERIFY(mounts.open(QIODevice::ReadOnly));
    QCOMPARE(mounts.readAll().count(' ' + QFile::encodeName(m_drive.mountPoint()) + ' '), 1);
    QVERIFY(m_drive.unmount());
}

void MountCommandTest::keepsTheBareFolderClosed() {
    const QByteArray path = QFile::encodeName(m_drive.mountPoint());
    QCOMPARE(::chmod(path.constData(), 0500), 0);
    QCOMPARE(m_drive.mount(), 0);
    QCOMPARE(mode(), 0755);
    QVERIFY(m_drive.unmount());
    QCOMPARE(mode(), 0500);
    // A mount that fails puts back what it found.
    QCOMPARE(::chmod(path.constData(), 0550), 0);
    QCOMPARE(m_drive.mountAt(m_drive.mountPoint(), 1), 1);
    QCOMPARE(mode(), 0550);
    QCOMPARE(::chmod(path.constData(), 0700), 0);
    QCOMPARE(m_drive.mount(), 0);
    QVERIFY(m_drive.unmount());
    QCOMPARE(mode(), 0500);
}

void MountCommandTest::leavesNothingWhenToldToEnd_data() {
    QTest::addColumn<int>("signal");
    QTest::newRow("SIGTERM") << SIGTERM;
    QTest::newRow("SIGINT") << SIGINT;
    QTest::newRow("SIGKILL") << SIGKILL;
}

void MountCommandTest::leavesNothingWhenToldToEnd() {
    QFETCH(int, signal);
    // The server accepts the connection and says nothing, so that the command is in the middle of its work.
    m_drive.signalEngine(SIGSTOP);
    QProcess command;
    command.start(MountedEngine::mountProgram(), MountedEngine::mountArguments(m_drive.mountPoint(), m_drive.port()));
    QVERIFY(command.waitForStarted());
    QVERIFY(!command.waitForFinished(300));
    ::kill(static_cast<pid_t>(command.processId()), signal);
    QVERIFY(command.waitForFinished());
    QVERIFY(command.exitStatus() == QProcess::CrashExit || command.exitCode() != 0);
    m_drive.signalEngine(SIGCONT);
    QVERIFY(waitFor([&] { return isQuiet(); }));
    // At any other moment: either it mounted and said so, or there is nothing.
    for (int delay = 0; delay < 60; delay += 3) {
        QProcess other;
        other.start(MountedEngine::mountProgram(), MountedEngine::mountArguments(m_drive.mountPoint(), m_drive.port()));
        QVERIFY(other.waitForStarted());
        ::usleep(static_cast<useconds_t>(delay) * 500);
        ::kill(static_cast<pid_t>(other.processId()), signal);
        QVERIFY(other.waitForFinished());
        const bool success = other.exitStatus() == QProcess::NormalExit && other.exitCode() == 0;
        // SIGKILL may hit after the mount is complete and before the status is given.
        const bool killed = signal == SIGKILL && other.exitStatus() == QProcess::CrashExit;
        const auto serves = [&] {
            return MountedEngine::isMounted(m_drive.mountPoint()) &&
                   MountedEngine::mountProcess(m_drive.mountPoint()) > 0;
        };
        if (!success)
            QVERIFY(waitFor([&] { return isQuiet(); }, killed ? 5s : 20s) || (killed && serves()));
        if (success || serves()) {
            QVERIFY(serves());
            QVERIFY(m_drive.unmount());
        }
    }
}

void MountCommandTest::servesInASessionOfItsOwn() {
    QCOMPARE(m_drive.mount(), 0);
    const pid_t process = MountedEngine::mountProcess(m_drive.mountPoint());
    QVERIFY(process > 0);
    QCOMPARE(::getsid(process), process);
    QCOMPARE(QFile::symLinkTarget(u"/proc/%1/cwd"_s.arg(process)), u"/"_s);
    // It lets go of the last one when it hears that it may stay.
    for (const int descriptor : {0, 1, 2})
        QTRY_COMPARE(QFile::symLinkTarget(u"/proc/%1/fd/%2"_s.arg(process).arg(descriptor)), u"/dev/null"_s);
    QFile limits(u"/proc/%1/limits"_s.arg(process));
    QVERIFY(limits.open(QIODevice::ReadOnly));
    const QByteArray text = limits.readAll();
    const QByteArray core = text.mid(text.indexOf("Max core file size")).left(50).simplified();
    QCOMPARE(core, QByteArray("Max core file size 1 1"));
    QVERIFY(m_drive.unmount());
}

void MountCommandTest::endsWithAProgramInside() {
    QCOMPARE(m_drive.mount(), 0);
    QProcess inside;
    inside.setWorkingDirectory(m_drive.mountPoint());
    inside.start(u"sleep"_s, {u"60"_s});
    QVERIFY(inside.waitForStarted());
    ::kill(MountedEngine::mountProcess(m_drive.mountPoint()), SIGTERM);
    QVERIFY(waitFor([&] { return isQuiet(); }));
    inside.kill();
    inside.waitForFinished();
}

void MountCommandTest::flushesBeforeItEnds() {
    QCOMPARE(m_drive.mount(), 0);
    const QByteArray bytes(7'000'000, 'x');
    const int file =
        ::open(QFile::encodeName(m_drive.mountPoint() + u"/flushed"_s).constData(), O_CREAT | O_RDWR, 0644);
    QCOMPARE(::write(file, bytes.constData(), static_cast<std::size_t>(bytes.size())), bytes.size());
    ::kill(MountedEngine::mountProcess(m_drive.mountPoint()), SIGTERM);
    QVERIFY(waitFor([&] { return isQuiet(); }));
    ::close(file);
    QCOMPARE(m_drive.mount(), 0);
    QFile again(m_drive.mountPoint() + u"/flushed"_s);
    QVERIFY(again.open(QIODevice::ReadOnly));
    QVERIFY(again.readAll() == bytes);
    again.close();
    QVERIFY(m_drive.unmount());
}

void MountCommandTest::endsUnderWriters() {
    QCOMPARE(m_drive.mount(), 0);
    // Each goes on as long as it is let, and remembers how far it was told that its bytes are kept.
    constexpr int blockSize = 100'000;
    std::array<std::atomic<int>, 8> kept{};
    std::vector<std::thread> writers;
    const auto pathOf = [&](int i) { return QFile::encodeName(m_drive.mountPoint() + u"/writer-%1"_s.arg(i)); };
    for (int i = 0; i < 8; ++i) {
        writers.emplace_back([&, i] {
            const int file = ::open(pathOf(i).constData(), O_CREAT | O_WRONLY, 0644);
            for (int block = 0;; ++block) {
                const QByteArray bytes(blockSize, static_cast<char>('a' + block % 26));
                if (::write(file, bytes.constData(), blockSize) != blockSize)
                    break;
                if (block % 10 != 9)
                    continue;
                if (::fsync(file) != 0)
                    break;
                kept[i] = block + 1;
            }
            ::close(file);
        });
    }
    const pid_t process = MountedEngine::mountProcess(m_drive.mountPoint());
    const bool writing = waitFor([&] {
        return std::all_of(kept.begin(), kept.end(), [](const std::atomic<int> &blocks) { return blocks > 10; });
    });
    ::kill(process, SIGTERM);
    const bool ended = waitFor([&] { return ::kill(process, 0) != 0; }, 3s);
    if (!ended)
        ::kill(process, SIGKILL);
    for (std::thread &writer : writers)
        writer.join();
    QVERIFY(writing);
    QVERIFY2(ended, "the mount's process did not end within 3 s");
    QVERIFY(isQuiet());
    QCOMPARE(m_drive.mount(), 0);
    for (int i = 0; i < 8; ++i) {
        QFile file(QFile::decodeName(pathOf(i)));
        QVERIFY(file.open(QIODevice::ReadOnly));
        for (int block = 0; block < kept[i]; ++block)
            QCOMPARE(file.read(blockSize), QByteArray(blockSize, static_cast<char>('a' + block % 26)));
    }
    QVERIFY(m_drive.unmount());
}

void MountCommandTest::endsWhenUnmountedFromOutside() {
    QCOMPARE(m_drive.mount(), 0);
    QFile open(m_drive.mountPoint() + u"/open"_s);
    QVERIFY(open.open(QIODevice::ReadWrite | QIODevice::Unbuffered));
    // Busy: only lazily, and the open file stays usable until it is closed.
    QVERIFY(QProcess::execute(u"fusermount3"_s, {u"-uq"_s, m_drive.mountPoint()}) != 0);
    QCOMPARE(QProcess::execute(u"fusermount3"_s, {u"-uz"_s, m_drive.mountPoint()}), 0);
    QVERIFY(!MountedEngine::isMounted(m_drive.mountPoint()));
    QCOMPARE(open.write("still here"), 10);
    open.close();
    QVERIFY(waitFor([&] { return isQuiet(); }));
    QCOMPARE(m_drive.mount(), 0);
    QVERIFY(open.open(QIODevice::ReadOnly));
    QCOMPARE(open.readAll(), QByteArray("still here"));
    open.close();
    QVERIFY(m_drive.unmount());
}

QTEST_GUILESS_MAIN(MountCommandTest)
#include "MountCommandTest.moc"
