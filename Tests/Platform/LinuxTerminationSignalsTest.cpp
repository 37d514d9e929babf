// SPDX-License-Identifier: LicenseRef-Quillmount
#include "Platform/Linux/LinuxTerminationSignals.h"

#include <QCoreApplication>
#include <QFile>
#include <QProcess>
#include <QTest>

#include <csignal>
#include <cstdio>
#include <pthread.h>
#include <unistd.h>

using namespace quillmount;
using namespace Qt::StringLiterals;

class LinuxTerminationSignalsTest : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void reportsSignals_data();
    void reportsSignals();
    void survivesSignalsOutsideTheEventLoop();
};

namespace {

enum class Start { plain, ignored, blocked, hangUpIgnored };

quint64 bit(int signal) {
    return quint64(1) << (signal - 1);
}

} // namespace

void LinuxTerminationSignalsTest::reportsSignals_data() {
    QTest::addColumn<int>("start");
    QTest::addColumn<bool>("hangUpReported");
    QTest::newRow("plain") << int(Start::plain) << true;
    QTest::newRow("nohup") << int(Start::hangUpIgnored) << false;
    QTest::newRow("all ignored") << int(Start::ignored) << false;
    QTest::newRow("blocked") << int(Start::blocked) << true;
}

void LinuxTerminationSignalsTest::reportsSignals() {
    QFETCH(int, start);
    QFETCH(bool, hangUpReported);
    QProcess application;
    application.setChildProcessModifier([start] {
        sigset_t set;
        sigemptyset(&set);
        for (const int signal : {SIGTERM, SIGINT, SIGHUP}) {
            sigaddset(&set, signal);
            if (Start(start) == Start::ignored || (Start(start) == Start::hangUpIgnored && signal == SIGHUP))
                ::signal(signal, SIG_IGN);
        }
        if (Start(start) == Start::blocked)
            ::sigprocmask(SIG_BLOCK, &set, nullptr);
    });
    application.start(QCoreApplication::applicationFilePath(), {u"--report"_s});
    const auto nextLine = [&] {
        [&] { QTRY_VERIFY(application.canReadLine()); }();
        return application.readLine().trimmed();
    };
    QCOMPARE(nextLine(), QByteArray("ready"));
    const auto send = [&](int signal) { ::kill(pid_t(application.processId()), signal); };
    send(SIGHUP);
    if (hangUpReported)
        QCOMPARE(nextLine().toInt(), SIGHUP);
    send(SIGINT);
    QCOMPARE(nextLine().toInt(), SIGINT);
    send(SIGTERM);
    QCOMPARE(nextLine().toInt(), SIGTERM);

    // Then it shows how a program that it starts finds the signals: name, tab, mask in hexadecimal digits.
    const quint64 ours = bit(SIGTERM) | bit(SIGINT) | bit(SIGHUP);
    for (const QByteArray name : {"SigBlk:", "SigIgn:"}) {
        const QByteArray line = nextLine();
        QVERIFY2(line.startsWith(name), line.constData());
        QCOMPARE(line.split('\t').last().toULongLong(nullptr, 16) & ours, quint64(0));
    }
    QTRY_COMPARE(application.state(), QProcess::NotRunning);
    QCOMPARE(application.exitStatus(), QProcess::NormalExit);
}

void LinuxTerminationSignalsTest::survivesSignalsOutsideTheEventLoop() {
    for (int round = 0; round < 2; ++round) {
        LinuxTerminationSignals signalsOfTheSystem;
        signalsOfTheSystem.install();
        QList<int> received;
        connect(&signalsOfTheSystem, &TerminationSignals::received, this, [&](int signal) { received.append(signal); });
        errno = 12345;
        ::raise(SIGTERM);
        QCOMPARE(errno, 12345);
        QVERIFY2(received.isEmpty(), "reported in signal context");
        QTRY_COMPARE(received, QList<int>{SIGTERM});
    }
    // A second request, when the application has shut down on the first, does not change how it ends.
    ::raise(SIGTERM);
}

namespace {

// The application: it says which signals it hears, and at SIGTERM what its children inherit.
int report(QCoreApplication &application) {
    const auto say = [](const QByteArray &line) {
        std::puts(line.constData());
        std::fflush(stdout);
    };
    LinuxTerminationSignals signalsOfTheSystem;
    QObject::connect(&signalsOfTheSystem, &TerminationSignals::received, &application, [&](int signal) {
        say(QByteArray::number(signal));
        if (signal != SIGTERM)
            return;
        QProcess child;
        child.setProcessChannelMode(QProcess::ForwardedChannels);
        child.start(u"/bin/grep"_s, {u"-E"_s, u"^Sig(Ign|Blk)"_s, u"/proc/self/status"_s});
        child.waitForFinished();
        application.quit();
    });
    signalsOfTheSystem.install();
    say("ready");
    return application.exec();
}

} // namespace

int main(int argc, char *argv[]) {
    QCoreApplication application(argc, argv);
    if (argc == 2 && qstrcmp(argv[1], "--report") == 0)
        return report(application);
    LinuxTerminationSignalsTest test;
    return QTest::qExec(&test, argc, argv);
}
#include "LinuxTerminationSignalsTest.moc"
