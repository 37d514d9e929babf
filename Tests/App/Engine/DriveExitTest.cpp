// SPDX-License-Identifier: LicenseRef-Quillmount
// The engine ends by itself: what the drive makes of it, and when it starts another.
#include "App/Support/Paths.h"
#include "Tests/App/Engine/DriveWorld.h"

#include <QtTest>

using namespace quillmount;
using namespace std::chrono_literals;
using namespace Qt::StringLiterals;

class DriveExitTest : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void ladder();
    void yesterdaysLogExplainsNothing();
    void crashUnmountsAndComesBack();
    void offlineTriesAgain_data();
    void offlineTriesAgain();
    void startDuringTheBackOff();
};

void DriveExitTest::ladder() {
    DriveWorld world;
    world.engine.setQueuedUploads(3);
    QVERIFY(world.goLive());
    world.advance(0s);
    QCOMPARE(world.drive->stats().pendingUploads(), 3);
    world.engine.set(u"exit"_s, u"ERROR : no space left"_s);
    world.engine.crash(Paths::engineLog());
    int launches = 1;
    for (const auto delay : {2s, 4s, 8s, 16s, 30s}) {
        QVERIFY(waitFor([&] { return !world.hasEngine(); }));
        QCOMPARE(world.drive->state(), DriveState(DriveState::starting));
        QCOMPARE(world.engine.starts(), launches);
        world.advance(delay - 1ms);
        QVERIFY(!world.hasEngine());
        world.platform.clock().advance(1ms);
        ++launches;
        QVERIFY(waitFor([&] { return world.engine.starts() == launches; }));
    }
    QVERIFY(world.advanceUntil([&] { return world.drive->state().isFailed(); }));
    QCOMPARE(world.drive->state().name(), u"failed(diskFull)"_s);
    QCOMPARE(world.drive->stats(), DriveStats()); // nobody uploads
    world.advance(1h);
    QCOMPARE(world.engine.starts(), 6);

    // The user's retry starts the count again.
    world.drive->retry();
    QCOMPARE(world.states().mid(world.states().size() - 2), QStringList({u"stopped"_s, u"starting"_s}));
    QVERIFY(waitFor([&] { return world.engine.starts() == 7 && !world.hasEngine(); }));
    world.engine.set(u"exit"_s, QJsonValue::Null);
    world.advance(1999ms);
    QVERIFY(!world.hasEngine());
    QVERIFY(world.advanceUntil(DriveState::live));
}

void DriveExitTest::yesterdaysLogExplainsNothing() {
    DriveWorld world;
    world.makeDrive();
    QFile log(Paths::engineLog());
    QVERIFY(log.open(QIODevice::WriteOnly) && log.write("ERROR : invalid_grant\n") > 0);
    log.close();
    world.drive->start();
    QVERIFY(world.advanceUntil(DriveState::live));
    world.engine.crash(Paths::engineLog());
    QVERIFY(waitFor([&] { return !world.hasEngine(); }));
    QCOMPARE(world.drive->state(), DriveState(DriveState::starting));
    // It is still there for whoever wants to read it.
    QVERIFY(QFile::exists(Paths::engineLog() + u".1"_s));
}

void DriveExitTest::crashUnmountsAndComesBack() {
    DriveWorld world;
    world.engine.setQueuedUploads(2);
    QVERIFY(world.goLive());
    world.advance(1s);
    world.takeCommands();
    world.engine.crash(Paths::engineLog());
    QVERIFY(waitFor([&] { return !world.hasEngine(); }));
    QCOMPARE(world.takeCommands(), QStringList(u"force "_s + Paths::homeMountPoint()));
    QCOMPARE(world.drive->stats().uploadsQueued, 2); // they are still waiting
    QVERIFY(world.advanceUntil(DriveState::live));
    QCOMPARE(world.takeCommandNames(), QStringList({u"find"_s, u"mount"_s}));
    // Each engine has ports and a password of its own.
    const QList<QJsonObject> starts = world.engine.records(u"start"_s);
    QCOMPARE(starts.size(), 2);
    for (const int port : {4, 42})
        QVERIFY(starts[0]["arguments"_L1][port] != starts[1]["arguments"_L1][port]);
    QVERIFY(starts[0]["environment"_L1]["RCLONE_RC_PASS"_L1] != starts[1]["environment"_L1]["RCLONE_RC_PASS"_L1]);
}

void DriveExitTest::offlineTriesAgain_data() {
    QTest::addColumn<bool>("networkComesBack");
    QTest::newRow("the network comes back") << true;
    QTest::newRow("nobody says so") << false;
}

void DriveExitTest::offlineTriesAgain() {
    QFETCH(bool, networkComesBack);
    DriveWorld world;
    world.setMark(u"mount-late"_s);
    world.makeDrive().start();
    QVERIFY(waitFor([&] { return world.engine.starts() == 1; }));
    world.engine.crash(Paths::engineLog(), u"ERROR : dial tcp: no such host"_s);
    QVERIFY(waitFor([&] { return !world.hasEngine(); }));
    world.engine.set(u"exit"_s, u"ERROR : no such host"_s);
    QVERIFY(world.advanceUntil(DriveState::failure(ErrorMapper::Kind::offline)));
    const int starts = world.engine.starts();
    world.platform.networkPath().report(false);
    world.advance(5min - 1s);
    QCOMPARE(world.engine.starts(), starts);
    world.engine.set(u"exit"_s, QJsonValue::Null);
    world.setMark(u"mount-late"_s, false);
    if (networkComesBack)
        world.platform.networkPath().report(true);
    else
        world.advance(1s);
    QVERIFY(world.advanceUntil(DriveState::live));
    QCOMPARE(world.engine.starts(), starts + 1);
}

void DriveExitTest::startDuringTheBackOff() {
    DriveWorld world;
    QVERIFY(world.goLive());
    world.engine.crash(Paths::engineLog());
    QVERIFY(waitFor([&] { return !world.hasEngine(); }));
    world.drive->start();
    QVERIFY(waitFor([&] { return world.engine.starts() == 2; }));
    // The restart that was pending is off: it does not come between this one's end and an eject.
    world.engine.crash(Paths::engineLog());
    QVERIFY(waitFor([&] { return !world.hasEngine(); }));
    spawn(world.drive->eject(true));
    world.advance(60s);
    QCOMPARE(world.drive->state(), DriveState(DriveState::stopped));
    QCOMPARE(world.engine.starts(), 2);
}

QTEST_GUILESS_MAIN(DriveExitTest)
#include "DriveExitTest.moc"
