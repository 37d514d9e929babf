// SPDX-License-Identifier: LicenseRef-Quillmount
#include "Platform/Linux/LinuxSingleInstance.h"
#include "Platform/Linux/PrivateFolder.h"
#include "Platform/PlatformError.h"
#include "Tests/Support/TestFiles.h"
#include "Tests/Support/WaitFor.h"

#include <QDir>
#include <QElapsedTimer>
#include <QFile>
#include <QProcess>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QTest>

#include <csignal>
#include <cstdio>
#include <future>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

using namespace quillmount;
using namespace Qt::StringLiterals;
using namespace std::chrono_literals;

using Outcome = SingleInstance::Outcome;
using Wish = SingleInstance::Wish;

class LinuxSingleInstanceTest : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void aSecondStartIsRefusedUntilTheFirstEnds_data();
    void aSecondStartIsRefusedUntilTheFirstEnds();
    void whatCannotBeLocked_data();
    void whatCannotBeLocked();
    void theFirstIsToldOfAnotherStart_data();
    void theFirstIsToldOfAnotherStart();
    void strangeMessagesAreIgnored();
};

namespace {

// What another start would do, which waits for the answer.
bool tell(const QString &file, SingleInstance::Wish wish, const QByteArray &token) {
    auto told = std::async(std::launch::async, [&] { return LinuxSingleInstance(file).tellOther(wish, token); });
    return waitFor([&told] { return told.wait_for(0s) == std::future_status::ready; }) && told.get();
}

} // namespace

void LinuxSingleInstanceTest::aSecondStartIsRefusedUntilTheFirstEnds_data() {
    QTest::addColumn<int>("signal");
    QTest::newRow("ended") << SIGTERM;
    QTest::newRow("killed") << SIGKILL;
}

void LinuxSingleInstanceTest::aSecondStartIsRefusedUntilTheFirstEnds() {
    QFETCH(int, signal);
    const QTemporaryDir folder;
    const QString file = folder.path() + u"/state home/Quillmount/instance.lock"_s;

    // The first instance, which starts a program that lives on after it: until this test closes its standard input.
    QFile input(folder.path() + u"/input"_s);
    QCOMPARE(::mkfifo(QFile::encodeName(input.fileName()).constData(), 0600), 0);
    QVERIFY(input.open(QIODevice::ReadWrite | QIODevice::Unbuffered));
    QProcess first;
    first.setStandardInputFile(input.fileName());
    first.start(QCoreApplication::applicationFilePath(), {u"--hold"_s, file});
    QTRY_VERIFY(first.canReadLine());
    QCOMPARE(first.readLine(), QByteArray("acquired\n"));
    QTRY_VERIFY(first.canReadLine());
    const pid_t child = first.readLine().trimmed().toInt();
    QVERIFY(child > 0);

    LinuxSingleInstance second(file);
    QCOMPARE(second.acquire(), Outcome::heldByOther);
    QCOMPARE(contentOf(file), QByteArray::number(first.processId()) + '\n');
    struct stat parent = {};
    QCOMPARE(::stat(QFile::encodeName(folder.path() + u"/state home/Quillmount"_s).constData(), &parent), 0);
    QCOMPARE(int(parent.st_mode & 07777), 0700);

    if (signal == SIGKILL) {
        // It hears nothing, for it has no event loop.
        QElapsedTimer sinceCall;
        sinceCall.start();
        QVERIFY(!second.tellOther(Wish::open, {}));
        QVERIFY(sinceCall.elapsed() < 5000);
    }

    ::kill(pid_t(first.processId()), signal);
    QTRY_COMPARE(second.acquire(), Outcome::acquired);
    // Whatever the first has left behind.
    QVERIFY(tell(file, Wish::open, {}));
    QCOMPARE(contentOf(u"/proc/%1/cmdline"_s.arg(child)), QByteArray(WAITING_PROGRAM) + '\0');
    QCOMPARE(second.acquire(), Outcome::acquired);
    QCOMPARE(LinuxSingleInstance(file).acquire(), Outcome::heldByOther);
    input.close();
    QTRY_COMPARE(first.state(), QProcess::NotRunning);
}

void LinuxSingleInstanceTest::theFirstIsToldOfAnotherStart_data() {
    QTest::addColumn<bool>("hasRuntimeFolder");
    QTest::addColumn<int>("lengthOfPath");
    QTest::newRow("runtime folder") << true << 1;
    QTest::newRow("state folder") << false << 1;
    QTest::newRow("longer than an address") << false << 200;
}

void LinuxSingleInstanceTest::theFirstIsToldOfAnotherStart() {
    QFETCH(bool, hasRuntimeFolder);
    QFETCH(int, lengthOfPath);
    const QTemporaryDir folder;
    const QString run = folder.filePath(u"run"_s);
    QVERIFY(makePrivateFolder(run));
    qputenv("XDG_RUNTIME_DIR", hasRuntimeFolder ? QFile::encodeName(run) : QByteArray());
    const QString state = folder.path() + u'/' + QString(lengthOfPath, u'x') + u'/';
    LinuxSingleInstance first(state + u"a/lock"_s);
    LinuxSingleInstance ofAnotherHome(state + u"b/lock"_s);
    QCOMPARE(first.acquire(), Outcome::acquired);
    QCOMPARE(ofAnotherHome.acquire(), Outcome::acquired);
    QSignalSpy again(&first, &SingleInstance::startedAgain);
    QList<QVariantList> told;
    for (const Wish wish : {Wish::background, Wish::open, Wish::settings, Wish::quit}) {
        QVERIFY(tell(state + u"a/lock"_s, wish, wish == Wish::open ? "token" : ""));
        told.append({QVariant::fromValue(wish), QByteArray(wish == Wish::open ? "token" : "")});
    }
    QCOMPARE(again, told);
    const QFileInfoList sockets = QDir(hasRuntimeFolder ? run : state + u'a').entryInfoList(QDir::System);
    QCOMPARE(sockets.size(), hasRuntimeFolder ? 2 : 1);
    QCOMPARE(sockets.first().permissions() & ~0x7000, QFile::ReadUser | QFile::WriteUser);
}

void LinuxSingleInstanceTest::strangeMessagesAreIgnored() {
    const QTemporaryDir folder;
    qunsetenv("XDG_RUNTIME_DIR");
    const QString file = folder.filePath(u"lock"_s);
    LinuxSingleInstance first(file);
    QCOMPARE(first.acquire(), Outcome::acquired);
    QSignalSpy again(&first, &SingleInstance::startedAgain);
    QList<int> strangers;
    for (const QByteArray &message : {QByteArray("x"), QByteArray(5000, 'f'), QByteArray(), QByteArray()}) {
        const int stranger = ::socket(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC, 0);
        sockaddr_un address = {AF_UNIX, {}};
        qstrncpy(address.sun_path, QFile::encodeName(folder.filePath(u"instance.socket"_s)).constData(), 100);
        QCOMPARE(::connect(stranger, reinterpret_cast<sockaddr *>(&address), sizeof address), 0);
        if (!message.isEmpty())
            QCOMPARE(::send(stranger, message.constData(), size_t(message.size()), 0), ssize_t(message.size()));
        strangers.append(stranger);
    }
    ::close(strangers.takeLast());
    QVERIFY(tell(file, Wish::open, "token"));
    QCOMPARE(again.size(), 1);
    for (const int stranger : std::as_const(strangers))
        ::close(stranger);
}

void LinuxSingleInstanceTest::whatCannotBeLocked_data() {
    QTest::addColumn<QString>("file");
    QTest::addColumn<QString>("error");
    QTest::newRow("no folder") << u"/dev/null/x/instance.lock"_s << u"cannot be opened: Not a directory"_s;
    QTest::newRow("full") << u"/dev/full"_s << u"cannot be written: No space left on device"_s;
}

void LinuxSingleInstanceTest::whatCannotBeLocked() {
    QFETCH(QString, file);
    QFETCH(QString, error);
    LinuxSingleInstance instance(file);
    try {
        (void)instance.acquire();
        QFAIL("acquired");
    } catch (const PlatformError &thrown) {
        QCOMPARE(thrown.message(), file + u' ' + error);
    }
}

namespace {

int hold(const QString &file) {
    LinuxSingleInstance instance(file);
    std::puts(instance.acquire() == Outcome::acquired ? "acquired" : "refused");
    std::fflush(stdout);
    QProcess::startDetached(QStringLiteral(WAITING_PROGRAM), {});
    while (std::getchar() != EOF) {
    }
    return 0;
}

} // namespace

int main(int argc, char *argv[]) {
    QCoreApplication application(argc, argv);
    if (argc == 3 && qstrcmp(argv[1], "--hold") == 0)
        return hold(QFile::decodeName(argv[2]));
    LinuxSingleInstanceTest test;
    return QTest::qExec(&test, argc, argv);
}
#include "LinuxSingleInstanceTest.moc"
