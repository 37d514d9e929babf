// SPDX-License-Identifier: LicenseRef-Quillmount
#include "Platform/Linux/LinuxSingleInstance.h"
#include "Platform/PlatformError.h"
#include "Tests/Support/TestFiles.h"

#include <QFile>
#include <QProcess>
#include <QTemporaryDir>
#include <QTest>

#include <csignal>
#include <cstdio>
#include <sys/stat.h>
#include <unistd.h>

using namespace quillmount;
using namespace Qt::StringLiterals;

using Outcome = SingleInstance::Outcome;

class LinuxSingleInstanceTest : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void aSecondStartIsRefusedUntilTheFirstEnds_data();
    void aSecondStartIsRefusedUntilTheFirstEnds();
    void whatCannotBeLocked_data();
    void whatCannotBeLocked();
};

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

    ::kill(pid_t(first.processId()), signal);
    QTRY_COMPARE(second.acquire(), Outcome::acquired);
    QCOMPARE(contentOf(u"/proc/%1/cmdline"_s.arg(child)), QByteArray(WAITING_PROGRAM) + '\0');
    QCOMPARE(second.acquire(), Outcome::acquired);
    QCOMPARE(LinuxSingleInstance(file).acquire(), Outcome::heldByOther);
    input.close();
    QTRY_COMPARE(first.state(), QProcess::NotRunning);
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
