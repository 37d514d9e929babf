// SPDX-License-Identifier: LicenseRef-Quillmount
// The drive object is destroyed while one of its tasks waits: nothing may resume into it, nothing more may be done, and
// the engine is left alone. Meant to be run with the address sanitizer, too.
#include "App/Support/Paths.h"
#include "Tests/App/Engine/DriveWorld.h"
#include "Tests/Support/Started.h"

#include <QtTest>

using namespace quillmount;
using namespace std::chrono_literals;
using namespace Qt::StringLiterals;

namespace {

// Brings a drive to where it waits; false when it does not get there.
using Approach = bool (*)(DriveWorld &world);

// Lets the engine owe an answer to `command`, which `question` asks.
bool owes(DriveWorld &world, const QString &command, const std::function<void()> &question) {
    world.engine.setReply(command, {{u"silent"_s, true}});
    const int asked = world.engine.requests(command);
    question();
    return world.advanceUntil([&] { return world.engine.requests(command) > asked; });
}

bool liveAndIdle(DriveWorld &world) {
    const bool live = world.goLive();
    world.advance(0s);
    return live;
}

bool runs(DriveWorld &world, const QString &command) {
    QStringList names;
    return waitFor([&] { return (names += world.takeCommandNames()).contains(command); });
}

} // namespace

Q_DECLARE_METATYPE(Approach)

class DriveLifetimeTest : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void destroyed_data();
    void destroyed();
};

void DriveLifetimeTest::destroyed_data() {
    QTest::addColumn<Approach>("approach");
    const auto row = [](const char *name, Approach approach) { QTest::newRow(name) << approach; };

    row("at rest", [](DriveWorld &world) { return world.makeDrive().state() == DriveState::stopped; });
    row("probing", [](DriveWorld &world) { return owes(world, u"vfs/stats"_s, [&] { world.makeDrive().start(); }); });
    row("between probes", [](DriveWorld &world) {
        world.setMark(u"mount-late"_s);
        world.makeDrive().start();
        world.advance(3s);
        return world.drive->state() == DriveState::starting;
    });
    row("mounting", [](DriveWorld &world) {
        world.setMark(u"mount-waits"_s);
        world.makeDrive().start();
        return world.advanceUntil([&] { return world.takeCommandNames().contains(u"mount"_s); });
    });
    row("between polls", liveAndIdle);
    for (const char *command : {"core/stats", "operations/about", "operations/list"}) {
        row(command, [](DriveWorld &world) {
            const QString which = QString::fromLatin1(QTest::currentDataTag());
            // The first round asks everything.
            return owes(world, which, [&] { world.makeDrive().start(); });
        });
    }
    row("an eject that asks", [](DriveWorld &world) {
        return liveAndIdle(world) && owes(world, u"vfs/stats"_s, [&] { spawn(world.drive->eject(false)); });
    });
    row("an eject that waits for uploads", [](DriveWorld &world) {
        world.engine.setQueuedUploads(1);
        const bool live = liveAndIdle(world);
        spawn(world.drive->eject(false));
        world.advance(1500ms);
        return live && world.drive->state() == DriveState::ejecting;
    });
    row("unmounting", [](DriveWorld &world) {
        const bool live = liveAndIdle(world);
        world.takeCommands();
        world.setMark(u"unmount-waits"_s);
        spawn(world.drive->eject(true));
        return live && runs(world, u"unmount"_s);
    });
    row("an eject that waits for the engine", [](DriveWorld &world) {
        world.engine.set(u"ignoreTerminate"_s, true);
        const bool live = liveAndIdle(world);
        spawn(world.drive->eject(true));
        return live && waitFor([&] { return world.engine.records(u"signal"_s).size() == 1; });
    });
    row("signing out", [](DriveWorld &world) {
        world.engine.set(u"ignoreTerminate"_s, true);
        const bool live = liveAndIdle(world);
        spawn(world.drive->signOut());
        return live && waitFor([&] { return world.engine.records(u"signal"_s).size() == 1; });
    });
    row("connecting again", [](DriveWorld &world) {
        const bool live = liveAndIdle(world);
        world.takeCommands();
        world.setMark(u"unmount-waits"_s);
        spawn(world.drive->connect(u"{}"_s, std::nullopt));
        return live && runs(world, u"unmount"_s);
    });
    row("retrying", [](DriveWorld &world) {
        world.engine.setAnswer(u"core/stats"_s, QJsonObject{{u"lastError"_s, u"invalid_grant"_s}});
        world.makeDrive().start();
        const bool failed = world.advanceUntil(DriveState::failure(ErrorMapper::Kind::needsReconnect));
        world.takeCommands();
        world.setMark(u"unmount-waits"_s);
        world.drive->retry();
        return failed && runs(world, u"unmount"_s);
    });
    row("a pending restart", [](DriveWorld &world) {
        const bool live = liveAndIdle(world);
        world.engine.crash(Paths::engineLog());
        return live && waitFor([&] { return !world.hasEngine(); });
    });
    row("a set-up that is offered", [](DriveWorld &world) {
        world.setup.setAvailable(true);
        world.makeDrive().start();
        return world.setup.isRunning();
    });
    row("a set-up that is asked for", [](DriveWorld &world) {
        world.setup.setAvailable(true);
        started(world.makeDrive().setUpFinderLocation());
        return world.setup.isRunning();
    });
    row("a mount whose server is gone", [](DriveWorld &world) {
        return liveAndIdle(world) &&
               owes(world, u"vfs/stats"_s, [&] { world.platform.mountTable().endServer(world.drive->mountPoint()); });
    });
}

void DriveLifetimeTest::destroyed() {
    QFETCH(Approach, approach);
    DriveWorld world;
    QVERIFY(approach(world));
    const qint64 pid = world.engine.pid();
    const bool hadEngine = pid != 0 && processExists(pid);
    const int starts = world.engine.starts();
    world.takeCommands();

    world.drive.reset();
    QCOMPARE(pid != 0 && processExists(pid), hadEngine);

    // Everything that was awaited comes, one way or the other.
    world.setMark(u"mount-waits"_s, false);
    world.setMark(u"unmount-waits"_s, false);
    world.setup.end(VolumeSetup::Outcome::completed);
    if (hadEngine)
        world.engine.endAll();
    world.advance(10min);
    QCOMPARE(world.platform.clock().pending(), 0);
    QCOMPARE(world.takeCommands(), QStringList());
    QCOMPARE(world.engine.starts(), starts);
    QCOMPARE(Paths::hasEngineConfig(), true);
    QVERIFY(!world.platform.userDefaults().keys().contains(u"volumeSetupDeclined"_s));
}

QTEST_GUILESS_MAIN(DriveLifetimeTest)
#include "DriveLifetimeTest.moc"
