// SPDX-License-Identifier: LicenseRef-Quillmount
#include "Tests/Mount/TcpRelay.h"
#include "Tests/Support/LocalGoogle.h"
#include "Tests/Support/MountedEngine.h"
#include "Tests/Support/TestFiles.h"
#include "Tests/Support/WaitFor.h"

#include <QDir>
#include <QElapsedTimer>
#include <QFile>
#include <QTest>

#include <nfsc/libnfs.h>

#include <nfsc/libnfs-raw-nfs.h>

#include <fcntl.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <atomic>
#include <csignal>
#include <set>

using namespace quillmount;
using namespace Qt::StringLiterals;

// A server that dies, stops, is slow, or loses its connections.
class TroubleTest : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void endsWithItsServer();
    void failsWhileTheServerIsStopped();
    void canBeRemovedWhileTheServerIsStopped_data();
    void canBeRemovedWhileTheServerIsStopped();
    void takesLostConnectionsUpAgain();
    void understandsLostAnswers_data();
    void understandsLostAnswers();
    void letsNoSlowCallHoldUpOthers_data();
    void letsNoSlowCallHoldUpOthers();
    void tellsAnUnreachableFolderFromAnEmptyOne();
    void reportsWriteErrors();
    void commitsWhatWasWritten();
    void growsOnceForManyGaps();
    void asksForTheEndAfterAFailedWrite();
    void findsAFileThatMovesWhileItIsLookedFor();
    void clearsUpAfterACrash();
    void trashesFilesByTheirOwnNames_data();
    void trashesFilesByTheirOwnNames();

private:
    static QByteArray path(const QString &text) { return QFile::encodeName(text); }
    static int outcome(int result) { return result == 0 ? 0 : errno; }
};

void TroubleTest::endsWithItsServer() {
    MountedEngine drive;
    QVERIFY(drive.startEngine() && drive.mount() == 0);
    putFile(drive.mountPoint() + u"/file"_s, "x");
    const int open = ::open(path(drive.mountPoint() + u"/file"_s).constData(), O_WRONLY);
    QProcess inside;
    inside.setWorkingDirectory(drive.mountPoint());
    inside.start(u"sleep"_s, {u"60"_s});
    QVERIFY(inside.waitForStarted());
    // What it has not taken is lost with it, and the program that wrote it is told.
    drive.signalEngine(SIGSTOP);
    QCOMPARE(::write(open, "lost", 4), 4);
    drive.signalEngine(SIGKILL);
    QVERIFY(::close(open) != 0);
    QVERIFY(waitFor([&] { return !MountedEngine::isMounted(drive.mountPoint()); }));
    QVERIFY(waitFor([&] { return MountedEngine::mountProcess(drive.mountPoint()) < 0; }));
    inside.kill();
    inside.waitForFinished();
    // The place is free for the next mount.
    QVERIFY(drive.startEngine() && drive.mount() == 0);
    QCOMPARE(contentOf(drive.mountPoint() + u"/file"_s), QByteArray("x"));
}

void TroubleTest::failsWhileTheServerIsStopped() {
    MountedEngine drive;
    QVERIFY(drive.startEngine() && drive.mount(2) == 0);
    const QByteArray file = path(drive.mountPoint() + u"/file"_s);
    putFile(drive.mountPoint() + u"/file"_s, "x");
    drive.signalEngine(SIGSTOP);
    // Calls wait for the dead time and then fail; from then on they fail at once.
    struct stat status {};
    QVERIFY(waitFor([&] { return outcome(::stat(file.constData(), &status)) == ETIMEDOUT; }));
    for (int i = 0; i < 20; ++i)
        QCOMPARE(outcome(::mkdir((file + "-folder").constData(), 0755)), ETIMEDOUT);
    QVERIFY(MountedEngine::isMounted(drive.mountPoint()));
    drive.signalEngine(SIGCONT);
    QVERIFY(waitFor([&] { return outcome(::stat(file.constData(), &status)) == 0; }));
    QCOMPARE(contentOf(drive.mountPoint() + u"/file"_s), QByteArray("x"));
    QCOMPARE(outcome(::mkdir((file + "-folder").constData(), 0755)), 0);
}

void TroubleTest::canBeRemovedWhileTheServerIsStopped_data() {
    QTest::addColumn<bool>("bySignal");
    QTest::newRow("by the system's command") << false;
    QTest::newRow("by ending the mount's process") << true;
}

void TroubleTest::canBeRemovedWhileTheServerIsStopped() {
    QFETCH(bool, bySignal);
    MountedEngine drive;
    QVERIFY(drive.startEngine() && drive.mount(2) == 0);
    QFile busy(drive.mountPoint() + u"/file"_s);
    QVERIFY(busy.open(QIODevice::WriteOnly | QIODevice::Unbuffered));
    const pid_t process = MountedEngine::mountProcess(drive.mountPoint());
    QVERIFY(process > 0);
    drive.signalEngine(SIGSTOP);
    // Something is on its way, so that the mount is in the middle of waiting.
    QCOMPARE(busy.write("y"), 1);
    if (bySignal)
        ::kill(process, SIGTERM);
    else
        QCOMPARE(QProcess::execute(u"fusermount3"_s, {u"-uz"_s, drive.mountPoint()}), 0);
    QVERIFY(waitFor([&] { return !MountedEngine::isMounted(drive.mountPoint()); }));
    if (!bySignal)
        ::kill(process, SIGTERM);
    QVERIFY(waitFor([&] { return MountedEngine::mountProcess(drive.mountPoint()) < 0; }));
    drive.signalEngine(SIGCONT);
}

void TroubleTest::takesLostConnectionsUpAgain() {
    MountedEngine drive;
    QVERIFY(drive.startEngine());
    TcpRelay relay(drive.port());
    QCOMPARE(drive.mountAt(drive.mountPoint(), relay.port()), 0);
    QByteArray bytes;
    for (int i = 0; bytes.size() < 15'000'000; ++i)
        bytes += QByteArray::number(i) + ' ';
    putFile(drive.local() + u"/source"_s, bytes);
    // Connections break in the middle of writing and of reading a large file, and of making many small ones.
    const QString script = uR"sh(
        set -e; cp "$1/source" "$2/copy"; cmp "$1/source" "$2/copy"
        for i in $(seq 80); do mkdir "$2/d$i"; echo $i > "$2/d$i/f"; mv "$2/d$i/f" "$2/d$i/g"; done
        for i in $(seq 80); do test "$(cat "$2/d$i/g")" = $i; rm "$2/d$i/g"; rmdir "$2/d$i"; done
        ls "$2"
    )sh"_s;
    QProcess work;
    work.setProcessChannelMode(QProcess::MergedChannels);
    work.start(u"bash"_s, {u"-c"_s, script, u"script"_s, drive.local(), drive.mountPoint()});
    // By answers and not by the clock, so that there is progress on however slow a machine.
    for (int answers = 0; !work.waitForFinished(10);) {
        QVERIFY(work.state() == QProcess::Running);
        if (relay.answers() < answers + 25)
            continue;
        answers = relay.answers();
        relay.refuseNext(2);
        relay.dropAll();
    }
    QCOMPARE(work.readAll(), QByteArray("copy\n"));
    QCOMPARE(work.exitCode(), 0);
    QVERIFY(relay.connections() > 10);
}

void TroubleTest::understandsLostAnswers_data() {
    QTest::addColumn<QString>("command");
    QTest::addColumn<QString>("left");
    QTest::newRow("create") << u"set -C; echo > made"_s << u"file folder made"_s;
    QTest::newRow("make folder") << u"mkdir made"_s << u"file folder made"_s;
    QTest::newRow("remove") << u"rm file"_s << u"folder"_s;
    QTest::newRow("remove folder") << u"rmdir folder"_s << u"file"_s;
    QTest::newRow("rename") << u"mv file moved"_s << u"folder moved"_s;
    QTest::newRow("rename folder") << u"mv folder moved"_s << u"file moved"_s;
    QTest::newRow("truncate") << u"truncate -s 1 file"_s << u"file folder"_s;
}

void TroubleTest::understandsLostAnswers() {
    QFETCH(QString, command);
    QFETCH(QString, left);
    MountedEngine drive;
    QVERIFY(drive.startEngine());
    TcpRelay relay(drive.port());
    QCOMPARE(drive.mountAt(drive.mountPoint(), relay.port()), 0);
    // Every answer is lost in turn, so that the one of the call in question is among them.
    int lost = 0;
    for (int answer = 0; answer < 8; ++answer) {
        const QString folder = drive.mountPoint() + u"/%1"_s.arg(answer);
        QVERIFY(QDir().mkpath(folder + u"/folder"_s));
        putFile(folder + u"/file"_s, "content");
        QProcess shell;
        shell.setWorkingDirectory(folder);
        shell.setProcessChannelMode(QProcess::MergedChannels);
        shell.start(u"bash"_s, {u"-c"_s, u"read x; "_s + command});
        QVERIFY(shell.waitForStarted());
        relay.swallowAnswerAfter(answer);
        shell.write("\n");
        QVERIFY(shell.waitForFinished());
        QCOMPARE(shell.readAll(), QByteArray());
        QCOMPARE(shell.exitCode(), 0);
        lost += relay.isSwallowing() ? 0 : 1;
        relay.swallowNothing();
        QCOMPARE(QDir(folder).entryList(QDir::AllEntries | QDir::NoDotAndDotDot).join(u' '), left);
    }
    QVERIFY(lost >= 1);
}

void TroubleTest::letsNoSlowCallHoldUpOthers_data() {
    QTest::addColumn<quint32>("procedure");
    QTest::addColumn<QString>("command");
    QTest::newRow("make folder") << 9U << u"mkdir $1-$2.d/new"_s;
    QTest::newRow("read") << 6U << u"cat $1-$2"_s;
    QTest::newRow("write") << 7U << u"echo more >> $1-$2"_s;
}

void TroubleTest::letsNoSlowCallHoldUpOthers() {
    QFETCH(quint32, procedure);
    QFETCH(QString, command);
    constexpr int slowCalls = 12;
    std::set<QByteArray> held; // on the relay's thread only
    std::atomic<int> holding = 0;
    std::atomic<bool> hold = false;
    MountedEngine drive;
    for (int i = 0; i <= slowCalls; ++i) {
        QVERIFY(QDir(drive.backend()).mkdir(u"file-%1.d"_s.arg(i)));
        putFile(drive.backend() + u"/file-%1"_s.arg(i), "content\n");
    }
    QVERIFY(drive.startEngine());
    TcpRelay relay(drive.port(), [&](const TcpRelay::Call &call) -> TcpRelay::Verdict {
        if (!hold || call.procedure != procedure)
            return {};
        if (holding < slowCalls && held.insert(call.bytes).second)
            ++holding;
        return held.contains(call.bytes) ? TcpRelay::Verdict{TcpRelay::Verdict::hold, 0} : TcpRelay::Verdict{};
    });
    QCOMPARE(drive.mountAt(drive.mountPoint(), relay.port()), 0);
    hold = true;
    const auto arguments = [&](int i) {
        return QStringList{u"-c"_s, command, u"script"_s, drive.mountPoint() + u"/file"_s, QString::number(i)};
    };
    std::vector<std::unique_ptr<QProcess>> slow;
    for (int i = 0; i < slowCalls; ++i) {
        slow.push_back(std::make_unique<QProcess>());
        slow.back()->start(u"sh"_s, arguments(i));
        QVERIFY(slow.back()->waitForStarted());
    }
    const bool allHeld = waitFor([&] { return holding == slowCalls; });
    QProcess other;
    other.start(u"sh"_s, arguments(slowCalls));
    const bool othersGoOn = other.waitForFinished(10'000);
    hold = false;
    for (const auto &each : slow)
        QVERIFY(each->waitForFinished());
    QVERIFY2(allHeld, "slow calls wait for each other");
    QVERIFY2(othersGoOn, "a slow call holds up another program's");
    QCOMPARE(other.exitCode(), 0);
}

void TroubleTest::tellsAnUnreachableFolderFromAnEmptyOne() {
    MountedEngine drive;
    QVERIFY(QDir().mkpath(drive.backend() + u"/folder"_s));
    QVERIFY(drive.startEngine() && drive.mount() == 0);
    QVERIFY(QFile::exists(drive.mountPoint() + u"/folder"_s));
    QVERIFY(!QFile::exists(drive.mountPoint() + u"/absent"_s));
    // The engine knows of the folder but can no longer list it, as without a network.
    QVERIFY(QDir().rmdir(drive.backend() + u"/folder"_s));
    putFile(drive.backend() + u"/folder"_s, "not a folder");
    struct stat status {};
    QCOMPARE(outcome(::stat(path(drive.mountPoint() + u"/folder/file"_s).constData(), &status)), EIO);
    const int folder = ::open(path(drive.mountPoint() + u"/folder"_s).constData(), O_RDONLY | O_DIRECTORY);
    QVERIFY(folder >= 0);
    char buffer[4096];
    QCOMPARE(::syscall(SYS_getdents64, folder, buffer, sizeof buffer), -1);
    QCOMPARE(errno, EIO);
    ::close(folder);
}

void TroubleTest::reportsWriteErrors() {
    MountedEngine drive;
    QVERIFY(drive.startEngine() && drive.mount() == 0);
    const QByteArray name = path(drive.mountPoint() + u"/file"_s);
    const int file = ::open(name.constData(), O_CREAT | O_RDWR, 0644);
    const int other = ::open(name.constData(), O_WRONLY);
    QCOMPARE(::write(file, "kept", 4), 4);
    QCOMPARE(::fsync(file), 0);
    // The engine can no longer keep data.
    const QString cache = drive.cacheFolder() + u"/vfs"_s;
    QVERIFY(QDir().rename(cache, cache + u"-away"_s));
    putFile(cache, "in the way");
    QCOMPARE(::write(file, "lost", 4), 4);
    QCOMPARE(outcome(::fsync(file)), EIO);
    QVERIFY(QFile::remove(cache));
    QVERIFY(QDir().rename(cache + u"-away"_s, cache));
    // Each open file is told once, also by its last call.
    QCOMPARE(outcome(::fsync(file)), 0);
    QCOMPARE(outcome(::close(other)), EIO);
    QCOMPARE(outcome(::close(file)), 0);
    QCOMPARE(contentOf(drive.mountPoint() + u"/file"_s), QByteArray("kept"));
}

void TroubleTest::commitsWhatWasWritten() {
    // The server learns from a commit when a program closes a file or wants it on the disk, and answers with errors
    // that show late.
    constexpr quint32 commit = 21;
    std::atomic<quint32> status = NFS3_OK;
    std::atomic<int> closes = 0;
    std::atomic<int> syncs = 0;
    MountedEngine drive;
    QVERIFY(drive.startEngine());
    TcpRelay relay(drive.port(), [&](const TcpRelay::Call &call) -> TcpRelay::Verdict {
        if (call.procedure != commit)
            return {};
        const QByteArray range = call.bytes.last(12).toHex(); // offset and count
        closes += range == "ffffffffffffffff00000000" ? 1 : 0;
        syncs += range == "000000000000000000000000" ? 1 : 0;
        return status == NFS3_OK ? TcpRelay::Verdict{} : TcpRelay::Verdict{TcpRelay::Verdict::answer, status};
    });
    QCOMPARE(drive.mountAt(drive.mountPoint(), relay.port()), 0);
    const QByteArray name = path(drive.mountPoint() + u"/file"_s);
    const int file = ::open(name.constData(), O_CREAT | O_RDWR, 0644);
    const int reader = ::open(name.constData(), O_RDONLY);
    QCOMPARE(::write(file, "x", 1), 1);
    QCOMPARE(outcome(::fsync(file)), 0);
    QCOMPARE(syncs, 1);
    QCOMPARE(outcome(::close(::dup(reader))), 0);
    QCOMPARE(outcome(::close(::dup(file))), 0);
    QCOMPARE(closes, 0); // nothing was written since
    QCOMPARE(::write(file, "y", 1), 1);
    QCOMPARE(outcome(::close(::dup(file))), 0);
    QCOMPARE(closes, 1);
    status = NFS3ERR_NOSPC;
    QCOMPARE(outcome(::fsync(file)), ENOSPC);
    status = NFS3ERR_FBIG;
    QCOMPARE(::write(file, "z", 1), 1);
    QCOMPARE(outcome(::close(file)), EFBIG);
    QVERIFY(closes >= 2); // once more when the answer overtook that of the write
    // The other open file learns of it, too.
    QCOMPARE(outcome(::close(reader)), EFBIG);
    QCOMPARE(syncs, 2);
}

void TroubleTest::growsOnceForManyGaps() {
    constexpr quint32 setAttributes = 2;
    std::atomic<int> changes = 0;
    MountedEngine drive;
    QVERIFY(drive.startEngine());
    TcpRelay relay(drive.port(), [&](const TcpRelay::Call &call) -> TcpRelay::Verdict {
        changes += call.procedure == setAttributes ? 1 : 0;
        return {};
    });
    QCOMPARE(drive.mountAt(drive.mountPoint(), relay.port()), 0);
    const QString name = drive.mountPoint() + u"/file"_s;
    const int file = ::open(path(name).constData(), O_CREAT | O_WRONLY, 0644);
    QByteArray expected;
    for (int i = 0; i < 500; ++i) {
        QCOMPARE(::pwrite(file, "x", 1, i * 4096 + 4095), 1);
        expected += QByteArray(4095, '\0') + 'x';
    }
    QCOMPARE(::close(file), 0);
    QCOMPARE(contentOf(name), expected);
    QVERIFY2(changes < 250, QByteArray::number(changes).constData());
}

void TroubleTest::asksForTheEndAfterAFailedWrite() {
    // What follows a write that failed leaves a gap, which the server takes for zeros only if the size was set.
    constexpr quint32 setAttributes = 2;
    constexpr quint32 writeCall = 7;
    std::atomic<int> changes = 0;
    std::atomic<bool> full = false;
    MountedEngine drive;
    QVERIFY(drive.startEngine());
    TcpRelay relay(drive.port(), [&](const TcpRelay::Call &call) -> TcpRelay::Verdict {
        changes += call.procedure == setAttributes ? 1 : 0;
        const bool refused = full && call.procedure == writeCall;
        return refused ? TcpRelay::Verdict{TcpRelay::Verdict::answer, NFS3ERR_NOSPC} : TcpRelay::Verdict{};
    });
    QCOMPARE(drive.mountAt(drive.mountPoint(), relay.port()), 0);
    const QString name = drive.mountPoint() + u"/file"_s;
    const int file = ::open(path(name).constData(), O_CREAT | O_RDWR, 0644);
    QCOMPARE(::write(file, "kept", 4), 4);
    QCOMPARE(outcome(::fsync(file)), 0);
    full = true;
    QCOMPARE(::write(file, "lost", 4), 4);
    QCOMPARE(outcome(::fsync(file)), ENOSPC);
    full = false;
    QCOMPARE(changes, 0);
    QCOMPARE(::write(file, "more", 4), 4);
    QCOMPARE(outcome(::close(file)), 0);
    QCOMPARE(changes, 1);
    QCOMPARE(contentOf(name), QByteArray("kept\0\0\0\0more", 12));
}

void TroubleTest::findsAFileThatMovesWhileItIsLookedFor() {
    constexpr quint32 lookup = 3;
    constexpr quint32 rename = 14;
    std::atomic<bool> holds = false;
    std::atomic<int> held = 0;
    std::atomic<int> renamed = 0;
    MountedEngine drive;
    QVERIFY(drive.startEngine());
    TcpRelay relay(drive.port(), [&](const TcpRelay::Call &call) -> TcpRelay::Verdict {
        renamed += call.procedure == rename ? 1 : 0;
        if (!holds || call.procedure != lookup || !call.bytes.contains("moved"))
            return {};
        ++held;
        return {TcpRelay::Verdict::hold};
    });
    QCOMPARE(drive.mountAt(drive.mountPoint(), relay.port()), 0);
    const QString name = drive.mountPoint() + u"/file"_s;
    const QString moved = drive.mountPoint() + u"/moved"_s;
    const int file = ::open(path(name).constData(), O_RDWR | O_CREAT | O_CLOEXEC, 0600);
    QVERIFY(file >= 0);
    // A move makes the handle of the open file stale; the next write looks for it by its new name.
    QVERIFY(QFile::rename(name, moved));
    holds = true;
    QCOMPARE(::write(file, "content", 7), 7);
    QVERIFY(waitFor([&] { return held > 0; }));
    QCOMPARE(::unlink(path(moved).constData()), 0);
    QCOMPARE(renamed, 2);
    holds = false;
    QCOMPARE(outcome(::fsync(file)), 0);
    char bytes[8] = {};
    QCOMPARE(::pread(file, bytes, sizeof bytes, 0), 7);
    QCOMPARE(outcome(::close(file)), 0);
}

void TroubleTest::clearsUpAfterACrash() {
    MountedEngine drive;
    QVERIFY(drive.startEngine() && drive.mount() == 0);
    putFile(drive.mountPoint() + u"/file"_s, "x");
    const int file = ::open(path(drive.mountPoint() + u"/file"_s).constData(), O_RDWR);
    QVERIFY(QFile::remove(drive.mountPoint() + u"/file"_s));
    const auto hidden = [&] {
        return QDir(drive.backend()).entryList({u".nfs*"_s}, QDir::Files | QDir::Hidden).size();
    };
    QVERIFY(waitFor([&] { return hidden() == 1; }));
    ::kill(MountedEngine::mountProcess(drive.mountPoint()), SIGKILL);
    QVERIFY(waitFor([&] { return MountedEngine::mountProcess(drive.mountPoint()) < 0; }));
    ::close(file);
    QCOMPARE(QProcess::execute(u"fusermount3"_s, {u"-uz"_s, drive.mountPoint()}), 0);
    QCOMPARE(drive.mount(), 0);
    QVERIFY(waitFor([&] { return hidden() == 0; }));
}

void TroubleTest::trashesFilesByTheirOwnNames_data() {
    QTest::addColumn<QString>("command");
    QTest::addColumn<QByteArray>("left");
    QTest::newRow("deleted") << u"rm document.odt"_s << QByteArray("(no such file)");
    QTest::newRow("deleted and made again") << u"rm document.odt; echo new > document.odt"_s << QByteArray("new\n");
    QTest::newRow("replaced") << u"echo new > temporary; mv temporary document.odt"_s << QByteArray("new\n");
}

void TroubleTest::trashesFilesByTheirOwnNames() {
    // The user looks for it in Google's trash by that name, and has never seen the hidden one.
    QFETCH(QString, command);
    QFETCH(QByteArray, left);
    LocalGoogle google;
    for (const QString &path : {u"Quillmount"_s, u"Quillmount/folder"_s})
        google.makeFolder(path);
    google.write(u"Quillmount/folder/document.odt"_s, "old");
    MountedEngine drive(google, {u"--vfs-write-back"_s, u"200ms"_s});
    QVERIFY(drive.startEngine() && drive.mount() == 0);
    const QString folder = drive.mountPoint() + u"/folder"_s;
    QFile open(folder + u"/document.odt"_s);
    QVERIFY(open.open(QIODevice::ReadOnly));
    QCOMPARE(QProcess::execute(u"sh"_s, {u"-c"_s, u"cd \"$1\" && %1"_s.arg(command), u"script"_s, folder}), 0);
    QCOMPARE(open.readAll(), QByteArray("old"));
    open.close();
    const QDir trash(google.pathOf(u"../Trash"_s));
    const auto trashed = [&] { return trash.entryList(QDir::Files | QDir::Hidden); };
    QVERIFY(waitFor([&] { return !trashed().isEmpty(); }));
    QCOMPARE(trashed(), QStringList{u"document.odt"_s});
    QCOMPARE(contentOf(trash.filePath(u"document.odt"_s)), QByteArray("old"));
    QCOMPARE(contentOf(folder + u"/document.odt"_s), left);
}

QTEST_GUILESS_MAIN(TroubleTest)
#include "TroubleTest.moc"
