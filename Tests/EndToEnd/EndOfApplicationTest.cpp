// SPDX-License-Identifier: LicenseRef-Quillmount
// The application ends, asked or killed, at any moment: nothing is left behind that should not be, and nothing is lost.
#include "Tests/EndToEnd/Application.h"
#include "Tests/EndToEnd/TestHome.h"

#include <QFile>
#include <QTest>

#include <algorithm>
#include <csignal>

using namespace quillmount;
using namespace Qt::StringLiterals;

// Brings an application that is being started to where it is to end; false when it does not get there.
using Moment = std::function<bool(TestHome &, Application &)>;
Q_DECLARE_METATYPE(Moment)

namespace {

// Stops a process and waits until it stands still.
bool stop(pid_t pid) {
    const auto stands = [pid] {
        QFile file(u"/proc/%1/stat"_s.arg(pid));
        return file.open(QIODevice::ReadOnly) && file.readAll().contains(") T ");
    };
    return ::kill(pid, SIGSTOP) == 0 && QTest::qWaitFor(stands);
}

bool appears(const TestHome &home, const QByteArray &program) {
    return QTest::qWaitFor([&] { return home.processNamed(program) != 0; }, 20'000);
}

} // namespace

class EndOfApplicationTest : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void endsWithItsDisplay();
    void endsInEveryState_data();
    void endsInEveryState();
    void uploadsSurviveAKill();
};

void EndOfApplicationTest::endsWithItsDisplay() {
    TestHome home;
    Application application(home);
    QProcess display;
    display.start(u"/usr/bin/Xvfb"_s,
                  {u"-displayfd"_s, u"1"_s, u"-screen"_s, u"0"_s, u"640x480x24"_s, u"-nolisten"_s, u"tcp"_s});
    QVERIFY(display.waitForReadyRead(20'000));
    application.environment.insert(u"DISPLAY"_s, u':' + QString::fromLatin1(display.readAll().trimmed()));
    application.environment.insert(u"QT_QPA_PLATFORM"_s, u"xcb"_s);
    QVERIFY(application.goLive());
    // What some desktops do when their session ends.
    display.terminate();
    QVERIFY(display.waitForFinished(20'000));
    QTRY_VERIFY_WITH_TIMEOUT(!application.isRunning(), 30'000);
    QVERIFY(home.isQuiet());
}

void EndOfApplicationTest::endsInEveryState_data() {
    QTest::addColumn<Moment>("moment");
    QTest::addColumn<int>("number");
    const std::pair<const char *, Moment> moments[] = {
        {"as the engine starts", [](TestHome &home, Application &) { return appears(home, "QuillmountEngine"); }},
        {"as the drive is mounted", [](TestHome &home, Application &) { return appears(home, "quillmount-mount"); }},
        {"before the engine is started again",
         [](TestHome &home, Application &application) {
             return application.comesTo(u"live"_s) && ::kill(home.engine(), SIGKILL) == 0 &&
                    application.comesTo(u"starting"_s);
         }},
        {"while an eject waits for uploads",
         [](TestHome &home, Application &application) {
             home.stallUploads();
             return application.comesTo(u"live"_s) && home.save(u"pending"_s, "pending") &&
                    QProcess::execute(u"/usr/bin/fusermount3"_s, {u"-u"_s, home.mountPoint()}) == 0 &&
                    application.comesTo(u"ejecting"_s);
         }},
        {"while the engine hangs",
         [](TestHome &home, Application &application) {
             return application.comesTo(u"live"_s) && stop(home.engine());
         }},
        {"while the mount process hangs",
         [](TestHome &home, Application &application) {
             return application.comesTo(u"live"_s) && stop(home.mountServer());
         }},
    };
    for (const auto &[name, moment] : moments) {
        QTest::addRow("asked %s", name) << moment << SIGTERM;
        QTest::addRow("killed %s", name) << moment << SIGKILL;
    }
}

void EndOfApplicationTest::endsInEveryState() {
    QFETCH(Moment, moment);
    QFETCH(int, number);
    TestHome home;
    Application application(home);
    home.addAccount();
    application.start();
    QVERIFY(moment(home, application));
    application.signal(number);
    QCOMPARE(application.end(), number == SIGTERM ? 0 : -1);
    // A mount command that was under way may take a moment to find that its server is gone.
    QTRY_VERIFY_WITH_TIMEOUT(number == SIGKILL || home.isQuiet(), 15'000);

    // Whatever was left, the next start ends up with a drive that works.
    Application next(home);
    next.start();
    QVERIFY(next.comesTo(u"live"_s));
    QVERIFY(home.save(u"file"_s, "saved"));
    const QList<ProcessInfo> processes = home.processes();
    QCOMPARE(std::ranges::count(processes, "QuillmountEngine", &ProcessInfo::program), 1);
    QCOMPARE(std::ranges::count(processes, "quillmount-mount", &ProcessInfo::program), 1);
    next.signal(SIGTERM);
    QCOMPARE(next.end(), 0);
    QVERIFY(home.isQuiet());
}

void EndOfApplicationTest::uploadsSurviveAKill() {
    TestHome home;
    Application application(home);
    QVERIFY(application.goLive());
    int stalled = home.stallUploads();
    const QByteArray early = someBytes(200'001, 1);
    QVERIFY(home.save(u"early.bin"_s, early));
    QTRY_VERIFY_WITH_TIMEOUT(home.hits(stalled) > 0, 20'000);
    application.signal(SIGKILL);
    QCOMPARE(application.end(), -1);

    // Without the application the engine goes on, and the drive stays where it is.
    home.google.clearFault(stalled);
    QTRY_COMPARE_WITH_TIMEOUT(home.onGoogle(u"early.bin"_s), early, 60'000);
    QVERIFY(home.isMounted());
    stalled = home.stallUploads();
    const QByteArray late = someBytes(300'001, 2);
    QVERIFY(home.save(u"late.bin"_s, late));
    QTRY_VERIFY_WITH_TIMEOUT(home.hits(stalled) > 0, 20'000);

    // The next start puts its own engine and mount in the place of the former ones.
    const pid_t engine = home.engine();
    const pid_t mountServer = home.mountServer();
    QVERIFY(engine != 0 && mountServer != 0);
    Application next(home);
    next.start();
    QVERIFY(next.comesTo(u"live"_s));
    QVERIFY(home.engine() != engine && home.mountServer() != mountServer);
    QCOMPARE(home.load(u"late.bin"_s), late);
    QCOMPARE(home.onGoogle(u"late.bin"_s), std::nullopt);
    home.google.clearFault(stalled);
    QTRY_COMPARE_WITH_TIMEOUT(home.onGoogle(u"late.bin"_s), late, 30'000);
    QCOMPARE(home.onGoogle(u"early.bin"_s), early);
    next.signal(SIGTERM);
    QCOMPARE(next.end(), 0);
    QVERIFY(home.isQuiet());
}

QTEST_GUILESS_MAIN(EndOfApplicationTest)
#include "EndOfApplicationTest.moc"
