// SPDX-License-Identifier: LicenseRef-Quillmount
// The application ends, asked or killed, at any moment: nothing is left behind that should not be, and nothing is lost.
#include "Tests/EndToEnd/Application.h"
#include "Tests/EndToEnd/TestHome.h"

#include <QTest>

#include <csignal>

using namespace quillmount;
using namespace Qt::StringLiterals;

class EndOfApplicationTest : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void endsCleanlyOnSignal_data();
    void endsCleanlyOnSignal();
    void endsCleanlyOnControlC();
    void endsCleanlyWhileStarting_data();
    void endsCleanlyWhileStarting();
    void uploadsSurviveAKill();
    void uploadsSurviveForcedEnd();
    void secondStartDisturbsNothing();
};

void EndOfApplicationTest::endsCleanlyOnSignal_data() {
    QTest::addColumn<int>("number");
    QTest::newRow("SIGTERM") << SIGTERM;
    QTest::newRow("SIGINT") << SIGINT;
    QTest::newRow("SIGHUP") << SIGHUP;
}

void EndOfApplicationTest::endsCleanlyOnSignal() {
    QFETCH(int, number);
    TestHome home;
    Application application(home);
    QVERIFY(application.goLive());
    application.signal(number);
    QCOMPARE(application.end(), 0);
    QVERIFY(home.isQuiet());
}

void EndOfApplicationTest::endsCleanlyOnControlC() {
    TestHome home;
    Application application(home);
    // A terminal of its own, whose Ctrl+C reaches every process that belongs to it.
    application.command = {u"/usr/bin/script"_s, u"-qefc"_s, u"exec '%1'"_s.arg(application.command.first()),
                           u"/dev/null"_s};
    home.addAccount();
    application.start();
    QTRY_VERIFY_WITH_TIMEOUT(application.output().contains("Drive: "), 20'000);
    application.type("\x03");
    QCOMPARE(application.end(), 0);
    QVERIFY(home.isQuiet());
}

void EndOfApplicationTest::endsCleanlyWhileStarting_data() {
    QTest::addColumn<QByteArray>("program");
    QTest::newRow("as the engine starts") << QByteArray("QuillmountEngine");
    QTest::newRow("as the drive is mounted") << QByteArray("quillmount-mount");
}

void EndOfApplicationTest::endsCleanlyWhileStarting() {
    QFETCH(QByteArray, program);
    TestHome home;
    Application application(home);
    home.addAccount();
    application.start();
    QTRY_VERIFY_WITH_TIMEOUT(home.processNamed(program) != 0, 20'000);
    application.signal(SIGTERM);
    QCOMPARE(application.end(), 0);
    // A mount command that was under way may take a moment to find that its server is gone.
    QTRY_VERIFY_WITH_TIMEOUT(home.isQuiet(), 15'000);
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

void EndOfApplicationTest::uploadsSurviveForcedEnd() {
    TestHome home;
    Application application(home);
    QVERIFY(application.goLive());
    const int stalled = home.stallUploads();
    const QByteArray uploading = someBytes(200'001, 1);
    const QByteArray waiting = someBytes(100'001, 2);
    QVERIFY(home.save(u"uploading.bin"_s, uploading));
    QTRY_VERIFY_WITH_TIMEOUT(home.hits(stalled) > 0, 20'000);
    // This one is not even old enough to be uploaded.
    QVERIFY(home.save(u"waiting.bin"_s, waiting));
    application.signal(SIGTERM);
    QCOMPARE(application.end(), 0);
    QVERIFY(home.isQuiet());
    home.google.clearFault(stalled);
    QVERIFY(!home.onGoogle(u"uploading.bin"_s) && !home.onGoogle(u"waiting.bin"_s));

    Application next(home);
    next.start();
    QVERIFY(next.comesTo(u"live"_s));
    QTRY_COMPARE_WITH_TIMEOUT(home.onGoogle(u"uploading.bin"_s), uploading, 30'000);
    QTRY_COMPARE_WITH_TIMEOUT(home.onGoogle(u"waiting.bin"_s), waiting, 30'000);
}

void EndOfApplicationTest::secondStartDisturbsNothing() {
    TestHome home;
    Application application(home);
    QVERIFY(application.goLive());
    const pid_t engine = home.engine();
    const pid_t mountServer = home.mountServer();

    Application second(home);
    second.start();
    QCOMPARE(second.end(), 0);
    QCOMPARE(second.output(), QByteArray("Quillmount is already running for this home.\n"));

    QCOMPARE(home.engine(), engine);
    QCOMPARE(home.mountServer(), mountServer);
    QVERIFY(home.save(u"file"_s, "still writable"));
    QCOMPARE(application.state(), u"live"_s);
}

QTEST_GUILESS_MAIN(EndOfApplicationTest)
#include "EndOfApplicationTest.moc"
