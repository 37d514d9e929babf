// SPDX-License-Identifier: LicenseRef-Quillmount
// The mount of a live drive goes away behind the application's back.
#include "App/Support/Paths.h"
#include "Tests/App/Engine/DriveWorld.h"

#include <QtTest>

using namespace quillmount;
using namespace std::chrono_literals;
using namespace Qt::StringLiterals;

class DriveMountLostTest : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void serverGone();
    void serverThatKeepsDying();
    void unmountedFromOutside();
    void unmountedBecauseTheEngineDied();
    void unmountedByAnEngineThatHangs();

private:
    // As a file manager does it.
    static void unmount(DriveWorld &world) {
        world.setMounted(false);
        world.platform.mountTable().unmount(world.drive->mountPoint());
    }
};

void DriveMountLostTest::serverGone() {
    DriveWorld world;
    QVERIFY(world.goLive());
    world.advance(0s);
    const QString port = world.takeCommands().last().section(u' ', 1, 1);
    for (const auto delay : {2s, 4s}) { // the new mount is watched like the first
        world.platform.mountTable().endServer(world.drive->mountPoint());
        QVERIFY(world.advanceUntil(DriveState::starting));
        const auto begin = world.platform.clock().uptime();
        QVERIFY(world.advanceUntil(DriveState::live));
        QCOMPARE(world.platform.clock().uptime() - begin, Clock::Duration(delay));
        QCOMPARE(world.takeCommands(),
                 QStringList({u"force "_s + Paths::homeMountPoint(),
                              u"mount %1 quillmount.localhost %2"_s.arg(port, Paths::homeMountPoint())}));
        QVERIFY(world.drive->isMounted());
    }
    QCOMPARE(world.engine.starts(), 1);
    // There is still one round every two seconds.
    world.advance(0s);
    const int asked = world.engine.requests(u"core/stats"_s);
    const MemoryMountWatch *watch = world.platform.mountTable().watchOf(world.drive->mountPoint());
    QVERIFY(watch);
    const int tended = watch->tended();
    world.advance(20s);
    QCOMPARE(world.engine.requests(u"core/stats"_s), asked + 10);
    QCOMPARE(watch->tended(), tended + 10);
}

void DriveMountLostTest::serverThatKeepsDying() {
    DriveWorld world;
    world.engine.setQueuedUploads(1);
    QVERIFY(world.goLive());
    for (int time = 0; time < 5; ++time) {
        world.platform.mountTable().endServer(world.drive->mountPoint());
        QVERIFY(world.advanceUntil(DriveState::starting) && world.advanceUntil(DriveState::live));
    }
    world.platform.mountTable().endServer(world.drive->mountPoint());
    QVERIFY(world.advanceUntil(DriveState::failure(ErrorMapper::Kind::mountRefused)));
    QVERIFY(!world.drive->isMounted());
    // The uploads are not given up with the mount.
    world.advance(10min);
    QVERIFY(world.hasEngine());
    world.engine.setQueuedUploads(0);
    world.advance(2s);
    QVERIFY(waitFor([&] { return !world.hasEngine(); }));
    QCOMPARE(world.engine.starts(), 1);
    QCOMPARE(world.drive->state().name(), u"failed(mountRefused)"_s);
}

void DriveMountLostTest::unmountedFromOutside() {
    DriveWorld world;
    world.engine.setQueuedUploads(2);
    QVERIFY(world.goLive());
    world.advance(0s);
    unmount(world);
    QVERIFY(world.advanceUntil(DriveState::ejecting));
    world.advance(10s);
    QCOMPARE(world.drive->state(), DriveState(DriveState::ejecting));
    QVERIFY(world.hasEngine()); // it uploads on

    // The user thinks better of it: the drive has to be remounted.
    world.drive->cancelEject();
    QCOMPARE(world.drive->state(), DriveState(DriveState::starting));
    QVERIFY(world.advanceUntil(DriveState::live));
    QVERIFY(world.drive->isMounted());

    unmount(world);
    world.advance(10s);
    world.engine.setQueuedUploads(0);
    QVERIFY(world.advanceUntil(DriveState::stopped));
    QVERIFY(!world.hasEngine());
    QCOMPARE(world.engine.starts(), 1);
}

void DriveMountLostTest::unmountedBecauseTheEngineDied() {
    DriveWorld world;
    QVERIFY(world.goLive());
    world.advance(0s);
    // The mount is seen to go before the end of the engine is noticed.
    world.engine.crash(Paths::engineLog());
    unmount(world);
    QVERIFY(waitFor([&] { return !world.hasEngine(); }));
    QVERIFY(world.advanceUntil(DriveState::live));
    QCOMPARE(world.engine.starts(), 2);
    QVERIFY(!world.states().contains(u"ejecting"_s));
}

void DriveMountLostTest::unmountedByAnEngineThatHangs() {
    DriveWorld world;
    QVERIFY(world.goLive());
    world.advance(0s);
    // An engine that cannot tell how many uploads wait is not ejected; the drive is remounted.
    world.engine.setReply(u"vfs/stats"_s, {{u"status"_s, 500}});
    unmount(world);
    QVERIFY(world.advanceUntil(DriveState::starting));
    world.engine.setReply(u"vfs/stats"_s, {});
    QVERIFY(world.advanceUntil(DriveState::live));
    QCOMPARE(world.engine.starts(), 1);
    QVERIFY(!world.states().contains(u"ejecting"_s));
}

QTEST_GUILESS_MAIN(DriveMountLostTest)
#include "DriveMountLostTest.moc"
