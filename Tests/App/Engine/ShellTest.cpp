// SPDX-License-Identifier: LicenseRef-Quillmount
#include "App/Engine/Shell.h"
#include "Platform/OwnEnvironment.h"
#include "Tests/Support/Started.h"
#include "Tests/Support/TestFiles.h"
#include "Tests/Support/WaitFor.h"

#include <QtTest>

#include <csignal>
#include <fcntl.h>
#include <unistd.h>

using namespace quillmount;
using namespace Qt::StringLiterals;

namespace {

int runScript(const QString &code, const QString &folder, double timeout = 10) {
    return Shell::run(u"/bin/sh"_s, {u"-c"_s, code, folder}, timeout);
}

} // namespace

class ShellTest : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void status_data();
    void status();
    void reasonIsLoggedOnce();
    void commandThatDoesNotEndIsLeftAlone();
    void commandsStartWithDefaultSignals();
    void commandsKeepNothingOfTheirParent();
    void statusIsKnownWhoeverIgnoresChildren();
    void backgroundLetsEventsThrough();
};

void ShellTest::status_data() {
    QTest::addColumn<QString>("executable");
    QTest::addColumn<QStringList>("arguments");
    QTest::addColumn<int>("status");
    QTest::newRow("success") << u"/bin/true"_s << QStringList() << 0;
    QTest::newRow("failure") << u"/bin/sh"_s << QStringList({u"-c"_s, u"exit 7"_s}) << 7;
    QTest::newRow("signal") << u"/bin/sh"_s << QStringList({u"-c"_s, u"kill -KILL $$"_s}) << SIGKILL;
    QTest::newRow("missing") << u"/no/such/command"_s << QStringList() << -1;
    QTest::newRow("not executable") << u"/etc/passwd"_s << QStringList() << -1;
}

void ShellTest::status() {
    QFETCH(QString, executable);
    QFETCH(QStringList, arguments);
    QTEST(Shell::run(executable, arguments, 10), "status");
}

void ShellTest::reasonIsLoggedOnce() {
    static QStringList logged;
    logged.clear();
    const QtMessageHandler former = qInstallMessageHandler(
        [](QtMsgType, const QMessageLogContext &, const QString &message) { logged.append(message); });
    for (const auto &code :
         {u"echo first >&2; echo no device >&2; exit 1"_s, u"echo no device >&2; exit 1"_s, u"echo busy >&2; exit 1"_s,
          u"echo only a word >&2"_s, u"exit 1"_s, u"echo busy >&2; exit 1"_s}) {
        const auto command = started(Shell::runInBackground({u"/bin/sh"_s, {u"-c"_s, code}}, 10));
        QVERIFY(waitFor([&] { return command->isDone; }));
    }
    qInstallMessageHandler(former);
    QCOMPARE(logged,
             QStringList({u"a command failed: no device"_s, u"a command failed: busy"_s, u"a command failed: busy"_s}));
}

void ShellTest::commandThatDoesNotEndIsLeftAlone() {
    const QTemporaryDir folder;
    const QString wait = u"echo $$ > \"$0/pid\"; while [ -d \"$0\" ] && [ ! -e \"$0/go\" ]; do sleep 0.01; done"_s;
    QElapsedTimer timer;
    timer.start();
    QCOMPARE(runScript(wait, folder.path(), 0.3), -1);
    QVERIFY(timer.elapsed() >= 300);

    const qint64 pid = contentOf(folder.path() + u"/pid"_s).trimmed().toLongLong();
    QVERIFY(pid > 0 && processExists(pid));
    QVERIFY(QFile(folder.path() + u"/go"_s).open(QIODevice::WriteOnly));
    // A zombie would still exist.
    QVERIFY(waitFor([pid] { return !processExists(pid); }));
}

void ShellTest::commandsStartWithDefaultSignals() {
    const QTemporaryDir folder;
    sigset_t blocked;
    sigset_t before;
    sigemptyset(&blocked);
    sigaddset(&blocked, SIGTERM);
    sigprocmask(SIG_BLOCK, &blocked, &before);
    const auto handler = signal(SIGINT, SIG_IGN);
    // Not through a shell, which clears the mask by itself.
    const int status = Shell::run(u"/bin/cp"_s, {u"/proc/self/status"_s, folder.path()}, 10);
    signal(SIGINT, handler);
    sigprocmask(SIG_SETMASK, &before, nullptr);

    QCOMPARE(status, 0);
    QList<QByteArray> lines = contentOf(folder.path() + u"/status"_s).split('\n');
    lines.removeIf([](const QByteArray &line) { return !line.startsWith("SigBlk") && !line.startsWith("SigIgn"); });
    QCOMPARE(lines.size(), 2);
    for (const QByteArray &line : lines) {
        // The standard signals; the C library keeps two of the others for itself.
        constexpr quint64 standard = 0x7fffffff;
        QVERIFY2((line.split('\t').last().toULongLong(nullptr, 16) & standard) == 0, line.constData());
    }
}

void ShellTest::commandsKeepNothingOfTheirParent() {
    const int leaked = open("/dev/null", O_RDONLY);
    OwnEnvironment::set("SHELL_TEST_OWN", "1");
    qputenv("SHELL_TEST_OTHER", "1");
    const QString look =
        u"[ ! -e /proc/self/fd/%1 ] && [ \"$(pwd)\" = / ] && [ \"$SHELL_TEST_OWN$SHELL_TEST_OTHER\" = 1 ]"_s.arg(
            leaked);
    const int status = runScript(look, {});
    close(leaked);
    QCOMPARE(status, 0);
}

void ShellTest::statusIsKnownWhoeverIgnoresChildren() {
    const auto handler = signal(SIGCHLD, SIG_IGN);
    const int status = runScript(u"exit 7"_s, {});
    signal(SIGCHLD, handler);
    QCOMPARE(status, 7);
}

void ShellTest::backgroundLetsEventsThrough() {
    const QTemporaryDir folder;
    const QString code = u"while [ -d \"$0\" ] && [ ! -e \"$0/go\" ]; do sleep 0.01; done; exit 3"_s;
    const auto command = started(Shell::runInBackground({u"/bin/sh"_s, {u"-c"_s, code, folder.path()}}, 10));
    // Only an event handled while the command runs lets it end.
    QMetaObject::invokeMethod(
        this, [&] { QVERIFY(QFile(folder.path() + u"/go"_s).open(QIODevice::WriteOnly)); }, Qt::QueuedConnection);
    QVERIFY(!command->isDone);
    QVERIFY(waitFor([&] { return command->isDone; }));
    QCOMPARE(command->value, std::optional(3));
}

QTEST_GUILESS_MAIN(ShellTest)
#include "ShellTest.moc"
