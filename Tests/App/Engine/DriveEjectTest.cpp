// SPDX-License-Identifier: LicenseRef-Quillmount
// The drive is taken away: after the uploads, at once, with the account, or at the end of the application.
#include "App/Engine/EngineConfig.h"
#include "App/Support/Paths.h"
#include "App/Support/Preferences.h"
#include "Tests/App/Engine/DriveWorld.h"
#include "Tests/Support/Started.h"

#include <QtTest>

using namespace quillmount;
using namespace std::chrono_literals;
using namespace Qt::StringLiterals;

class DriveEjectTest : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void waitsForUploads();
    void missingAnswerIsNoAnswer();
    void busyMountIsAskedForSomeSeconds();
    void uploadThatBeganAtTheUnmount();
    void cancelledAtTheUnmount();
    void cancelKeepsTheDrive();
    void cancelAfterTheWaitIsTooLate();
    void secondWhileTheFirstWaits_data();
    void secondWhileTheFirstWaits();
    void startRightAfterAnOverlappingEject();
    void busyMount();
    void engineThatIgnoresTheSignal();
    void signOut();
    void shutdown_data();
    void shutdown();
    void shutdownWithoutEngine();
};

void DriveEjectTest::waitsForUploads() {
    DriveWorld world;
    world.engine.setQueuedUploads(3);
    QVERIFY(world.goLive());
    world.advance(0s);
    world.takeCommands();
    const auto ejected = started(world.drive->eject(false));
    QCOMPARE(world.drive->state(), DriveState(DriveState::ejecting));
    // Its questions come about once a second, besides the two-second rounds.
    const int asked = world.engine.requests(u"vfs/stats"_s);
    world.advance(20s);
    const int rounds = world.engine.requests(u"vfs/stats"_s) - asked;
    QVERIFY2(rounds >= 28 && rounds <= 32, qPrintable(QString::number(rounds)));
    world.engine.setQueuedUploads(0, 1);
    world.advance(5min);
    QCOMPARE(world.takeCommands(), QStringList());
    QVERIFY(!ejected->isDone && world.hasEngine());
    world.engine.setQueuedUploads(0);
    world.advance(1s);
    // Time stands still: the engine ends because it was asked to, not because it was killed.
    QVERIFY(waitFor([&] { return !world.hasEngine(); }));
    QCOMPARE(world.engine.records(u"signal"_s).size(), 1);
    QCOMPARE(world.drive->state(), DriveState(DriveState::ejecting));
    QVERIFY(world.advanceUntil(DriveState::stopped));
    QVERIFY(ejected->isDone);
    QCOMPARE(world.takeCommands(), QStringList(u"unmount "_s + Paths::homeMountPoint()));
    QCOMPARE(world.states(), QStringList({u"starting"_s, u"live"_s, u"ejecting"_s, u"stopped"_s}));
    QCOMPARE(world.drive->stats(), DriveStats());
    world.advance(60s);
    QCOMPARE(world.engine.starts(), 1); // it was no crash
}

void DriveEjectTest::missingAnswerIsNoAnswer() {
    DriveWorld world;
    world.engine.setReply(u"vfs/stats"_s, {{u"raw"_s, u"{}"_s}});
    QVERIFY(world.goLive());
    const auto ejected = started(world.drive->eject(false));
    world.advance(30s);
    QVERIFY(world.drive->isMounted() && world.hasEngine());
    world.engine.setQueuedUploads(0);
    QVERIFY(world.advanceUntil(DriveState::stopped));
}

void DriveEjectTest::busyMountIsAskedForSomeSeconds() {
    DriveWorld world;
    QVERIFY(world.goLive());
    world.setMark(u"unmount-fails"_s);
    world.takeCommands();
    const auto begin = world.platform.clock().uptime();
    const auto ejected = started(world.drive->eject(false));
    QVERIFY(world.advanceUntil(DriveState::stopped));
    const auto took = world.platform.clock().uptime() - begin;
    // The clock goes on while a command runs on its thread, so that on a slow machine there are fewer attempts.
    QVERIFY2(took >= 5s && took <= 15s, qPrintable(QString::number(took.count())));
    QStringList commands = world.takeCommandNames();
    QVERIFY(commands.count(u"unmount"_s) >= 3);
    commands.removeAll(u"unmount"_s);
    QCOMPARE(commands, QStringList({u"end"_s, u"force"_s}));
}

void DriveEjectTest::uploadThatBeganAtTheUnmount() {
    DriveWorld world;
    QVERIFY(world.goLive());
    world.setMark(u"unmount-waits"_s);
    const auto ejected = started(world.drive->eject(false));
    QVERIFY(waitFor([&] { return world.takeCommandNames().contains(u"unmount"_s); }));
    // A program closes its file at the last moment.
    world.engine.setQueuedUploads(1);
    world.setMark(u"unmount-waits"_s, false);
    world.advance(60s);
    QVERIFY(!world.drive->isMounted() && world.hasEngine());
    QCOMPARE(world.drive->state(), DriveState(DriveState::ejecting));
    world.engine.setQueuedUploads(0);
    QVERIFY(world.advanceUntil(DriveState::stopped));
}

void DriveEjectTest::cancelledAtTheUnmount() {
    DriveWorld world;
    QVERIFY(world.goLive());
    world.setMark(u"unmount-waits"_s);
    const auto ejected = started(world.drive->eject(false));
    QVERIFY(waitFor([&] { return world.takeCommandNames().contains(u"unmount"_s); }));
    world.drive->cancelEject();
    world.setMark(u"unmount-waits"_s, false);
    QVERIFY(world.advanceUntil([&] { return ejected->isDone && world.drive->state() == DriveState::live; }));
    QVERIFY(world.drive->isMounted());
    world.advance(60s);
    QCOMPARE(world.drive->state(), DriveState(DriveState::live));
    QCOMPARE(world.engine.starts(), 1);
}

void DriveEjectTest::cancelKeepsTheDrive() {
    DriveWorld world;
    world.engine.setQueuedUploads(3);
    QVERIFY(world.goLive());
    const auto first = started(world.drive->eject(false));
    world.advance(3s);
    world.drive->ejectNow(); // taken back together with the eject
    world.drive->cancelEject();
    QCOMPARE(world.drive->state(), DriveState(DriveState::live));
    world.engine.setQueuedUploads(0);
    world.advance(60s);
    QVERIFY(first->isDone);
    QCOMPARE(world.drive->state(), DriveState(DriveState::live));
    QCOMPARE(world.engine.starts(), 1);

    // A later one, also one that comes before the first has noticed, works.
    world.engine.setQueuedUploads(1);
    const auto second = started(world.drive->eject(false));
    world.advance(100ms);
    world.drive->cancelEject();
    const auto third = started(world.drive->eject(false));
    world.advance(10s);
    QVERIFY(second->isDone && !third->isDone);
    QCOMPARE(world.drive->state(), DriveState(DriveState::ejecting));
    world.engine.setQueuedUploads(0);
    QVERIFY(world.advanceUntil(DriveState::stopped));
    QVERIFY(waitFor([&] { return third->isDone; }));
}

void DriveEjectTest::secondWhileTheFirstWaits_data() {
    QTest::addColumn<bool>("force");
    QTest::newRow("waits as well") << false;
    QTest::newRow("at once") << true;
}

void DriveEjectTest::secondWhileTheFirstWaits() {
    QFETCH(const bool, force);
    DriveWorld world;
    world.engine.setQueuedUploads(3);
    QVERIFY(world.goLive());
    const auto first = started(world.drive->eject(false));
    world.advance(3s);
    const auto second = started(world.drive->eject(force));
    if (!force) {
        world.advance(10s);
        // Neither is over before the drive is gone.
        QVERIFY(!first->isDone && !second->isDone);
        world.engine.setQueuedUploads(0);
    }
    QVERIFY(world.advanceUntil(DriveState::stopped));
    QVERIFY(world.advanceUntil([&] { return first->isDone && second->isDone; }));
    QCOMPARE(world.engine.starts(), 1);
}

void DriveEjectTest::cancelAfterTheWaitIsTooLate() {
    DriveWorld world;
    QVERIFY(world.goLive());
    world.setMark(u"unmount-waits"_s);
    const auto ejected = started(world.drive->eject(true));
    world.drive->cancelEject();
    QCOMPARE(world.drive->state(), DriveState(DriveState::ejecting));
    world.setMark(u"unmount-waits"_s, false);
    QVERIFY(world.advanceUntil(DriveState::stopped));
}

void DriveEjectTest::startRightAfterAnOverlappingEject() {
    DriveWorld world;
    world.engine.setQueuedUploads(1);
    QVERIFY(world.goLive());
    const auto waiting = started(world.drive->eject(false));
    world.advance(500ms);
    const auto forced = started(world.drive->eject(true));
    // The drive is wanted back before the waiting eject has noticed that the engine is gone.
    QVERIFY(world.advanceUntil([&] { return forced->isDone; }));
    world.drive->start();
    QVERIFY(world.advanceUntil(DriveState::live));
    world.engine.setQueuedUploads(0);
    world.advance(30s);
    QVERIFY(waiting->isDone);
    QCOMPARE(world.drive->state(), DriveState(DriveState::live));
}

void DriveEjectTest::busyMount() {
    DriveWorld world;
    world.setMark(u"unmount-fails"_s);
    QVERIFY(world.goLive());
    world.takeCommands();
    // The engine is not asked to end before the mount has been settled.
    world.setMark(u"end-waits"_s);
    spawn(world.drive->eject(true));
    QStringList commands;
    QVERIFY(waitFor([&] { return (commands += world.takeCommandNames()).contains(u"end"_s); }));
    world.platform.clock().advance(60s);
    QCOMPARE(world.engine.records(u"signal"_s).size(), 0);
    world.setMark(u"end-waits"_s, false);
    QVERIFY(world.advanceUntil(DriveState::stopped));
    QCOMPARE(commands + world.takeCommandNames(), QStringList({u"unmount"_s, u"end"_s, u"force"_s}));
    QVERIFY(!world.drive->isMounted());
}

void DriveEjectTest::engineThatIgnoresTheSignal() {
    DriveWorld world;
    world.engine.set(u"ignoreTerminate"_s, true);
    QVERIFY(world.goLive());
    world.advance(0s);
    const qint64 pid = world.engine.pid();
    const auto begin = world.platform.clock().uptime();
    spawn(world.drive->eject(true));
    QVERIFY(waitFor([&] { return world.engine.records(u"signal"_s).size() == 1; }));
    world.advance(4900ms);
    QVERIFY(world.hasEngine());
    QVERIFY(world.advanceUntil(DriveState::stopped));
    QVERIFY(!world.hasEngine() && !processExists(pid));
    const auto took = world.platform.clock().uptime() - begin;
    QVERIFY2(took >= 5s && took <= 6s, qPrintable(QString::number(took.count())));
}

void DriveEjectTest::signOut() {
    DriveWorld world;
    world.engine.setQueuedUploads(3);
    const QJsonArray folders{QJsonObject{{u"Name"_s, u"Quillmount"_s}, {u"ID"_s, u"1"_s}}};
    world.engine.setAnswer(u"operations/list"_s, QJsonObject{{u"list"_s, folders}});
    world.makeDrive().start();
    QVERIFY(world.advanceUntil([&] { return world.drive->driveFolderURL() && world.drive->quota(); }));
    Preferences::setAccountEmail(u"someone@example.com"_s);
    QVERIFY(QDir().mkpath(Paths::cacheDirectory() + u"/vfs/deep"_s));
    // What an earlier sign-out did not come to delete.
    QVERIFY(QDir().mkpath(Paths::cacheDirectory() + u".removed-2f1e0a4c-5b6d-4c7e-8f90-a1b2c3d4e5f6/vfs"_s));
    QCOMPARE(world.engine.requests(u"operations/about"_s), 1);
    const auto done = started(world.drive->signOut());
    QVERIFY(world.advanceUntil([&] { return done->isDone; }));
    QCOMPARE(world.drive->state(), DriveState(DriveState::signedOut));
    QVERIFY(!Paths::hasEngineConfig() && !Preferences::accountEmail());
    QVERIFY(!world.drive->quota() && !world.drive->driveFolderURL() && !world.hasEngine());
    QVERIFY(QFileInfo(Paths::cacheDirectory()).isDir() && QDir(Paths::cacheDirectory()).isEmpty());
    QCOMPARE(world.drive->stats(), DriveStats());
    QCOMPARE(world.states().mid(2), QStringList({u"ejecting"_s, u"stopped"_s, u"signedOut"_s}));
    // The cache itself is deleted later, the rest of an interrupted deletion at the next start.
    world.drive.reset();
    world.makeDrive();
    const QFileInfo cache(Paths::cacheDirectory());
    QVERIFY(waitFor(
        [&] { return cache.dir().entryList(QDir::Dirs | QDir::NoDotAndDotDot) == QStringList(cache.fileName()); }));
    // The next account is asked for its own figures at once.
    const auto connected = started(world.drive->connect(u"{}"_s, std::nullopt));
    QVERIFY(world.advanceUntil([&] { return world.drive->quota() && world.drive->driveFolderURL(); }));
    QCOMPARE(world.engine.requests(u"operations/about"_s), 2);
}

void DriveEjectTest::shutdown_data() {
    QTest::addColumn<bool>("ignoresTerminate");
    QTest::addColumn<bool>("busy");
    QTest::addColumn<QStringList>("commands");
    QTest::newRow("all goes well") << false << false << QStringList(u"unmount"_s);
    QTest::newRow("a busy mount") << false << true << QStringList({u"unmount"_s, u"end"_s, u"force"_s});
    QTest::newRow("an engine that ignores it") << true << false << QStringList(u"unmount"_s);
}

void DriveEjectTest::shutdown() {
    QFETCH(bool, ignoresTerminate);
    QFETCH(bool, busy);
    DriveWorld world;
    world.engine.set(u"ignoreTerminate"_s, ignoresTerminate);
    world.setMark(u"unmount-fails"_s, busy);
    world.engine.setQueuedUploads(3);
    QVERIFY(world.goLive());
    world.advance(0s);
    world.takeCommands();
    const qint64 pid = world.engine.pid();

    // No event is handled meanwhile, as at the end of the application.
    QElapsedTimer timer;
    timer.start();
    world.drive->shutdownNow();
    QVERIFY(!processExists(pid));
    QVERIFY(!world.drive->isMounted());
    QTEST(world.takeCommandNames(), "commands");
    QCOMPARE(world.engine.records(u"signal"_s).size(), 1);
    QCOMPARE(timer.elapsed() >= 5000, ignoresTerminate);
    QCOMPARE(world.drive->stats(), DriveStats());
    // Nothing starts any more, whoever asks for it.
    world.advance(60s);
    world.drive->start();
    world.drive->retry();
    world.advance(60s);
    QCOMPARE(world.states(), QStringList({u"starting"_s, u"live"_s, u"stopped"_s}));
    QCOMPARE(world.engine.starts(), 1);
}

void DriveEjectTest::shutdownWithoutEngine() {
    DriveWorld world;
    QVERIFY(world.goLive());
    world.engine.crash(Paths::engineLog());
    QVERIFY(waitFor([&] { return !world.hasEngine(); }));
    world.takeCommands();
    world.drive->shutdownNow();
    world.advance(60s);
    QCOMPARE(world.takeCommands(), QStringList());
    QCOMPARE(world.engine.starts(), 1); // the restart that was pending is called off
}

QTEST_GUILESS_MAIN(DriveEjectTest)
#include "DriveEjectTest.moc"
