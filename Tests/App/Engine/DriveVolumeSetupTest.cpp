// SPDX-License-Identifier: LicenseRef-Quillmount
// Setting the drive up as a location of the file manager: offered once, and asked for later.
#include "App/Engine/EngineConfig.h"
#include "App/Support/Paths.h"
#include "App/Support/Preferences.h"
#include "Tests/App/Engine/DriveWorld.h"
#include "Tests/Support/Started.h"

#include <QtTest>

using namespace quillmount;
using namespace std::chrono_literals;
using namespace Qt::StringLiterals;

namespace {
const QString volume = u"/Volumes/Quillmount"_s;
const QString declinedKey = u"volumeSetupDeclined"_s;
} // namespace

class DriveVolumeSetupTest : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void firstStart_data();
    void firstStart();
    void installedVolume();
    void notWantedWhileTheOfferIsOpen();
    void setUpLater_data();
    void setUpLater();
    void noSetUpOnThisSystem();
};

void DriveVolumeSetupTest::firstStart_data() {
    QTest::addColumn<bool>("completes");
    QTest::newRow("completed") << true;
    QTest::newRow("broken") << false; // as good as declined
}

void DriveVolumeSetupTest::firstStart() {
    QFETCH(bool, completes);
    DriveWorld world;
    world.setup.setAvailable(true);
    world.makeDrive().start();
    world.drive->start();
    QCOMPARE(world.states(), QStringList(u"starting"_s));
    world.advance(1h);
    QVERIFY(!world.hasEngine());
    if (completes)
        world.setup.end(VolumeSetup::Outcome::completed);
    else
        world.setup.fail();
    QVERIFY(world.advanceUntil(DriveState::live));
    QCOMPARE(world.setup.runs(), 1);
    QCOMPARE(world.engine.starts(), 1);
    QCOMPARE(world.platform.userDefaults().get<bool>(declinedKey), std::optional(!completes));
    if (completes)
        return;
    // The offer is not repeated.
    spawn(world.drive->eject(true));
    QVERIFY(world.advanceUntil(DriveState::stopped));
    world.drive->start();
    QVERIFY(world.advanceUntil(DriveState::live));
    QCOMPARE(world.setup.runs(), 1);
}

void DriveVolumeSetupTest::installedVolume() {
    DriveWorld world;
    world.setup.setAvailable(true);
    world.setup.setInstalled(true, true);
    QVERIFY(QDir().mkpath(Paths::homeMountPoint()));
    QVERIFY(world.goLive());
    QCOMPARE(world.drive->mountPoint(), volume);
    QCOMPARE(world.setup.readyTimeout(), 5.0);
    QCOMPARE(world.takeCommands().last().section(u' ', 2), u"Quillmount "_s + volume);
    // The empty folder at home is removed; there is nothing to set up any more.
    QVERIFY(!QFileInfo::exists(Paths::homeMountPoint()));
    QVERIFY(started(world.drive->setUpFinderLocation())->isDone);
    QCOMPARE(world.setup.runs(), 0);
    QCOMPARE(world.drive->state(), DriveState(DriveState::live));
}

void DriveVolumeSetupTest::notWantedWhileTheOfferIsOpen() {
    DriveWorld world;
    world.setup.setAvailable(true);
    world.makeDrive().start();
    const auto done = started(world.drive->signOut());
    QVERIFY(waitFor([&] { return done->isDone; }));
    world.setup.end(VolumeSetup::Outcome::completed);
    world.advance(60s);
    QCOMPARE(world.drive->state(), DriveState(DriveState::signedOut));
    QCOMPARE(world.engine.starts(), 0);
    // The next account is served as if nothing had been.
    const auto connected = started(world.drive->connect(u"{}"_s, std::nullopt));
    QVERIFY(connected->value && world.setup.isRunning());
    world.setup.end(VolumeSetup::Outcome::declined);
    QVERIFY(world.advanceUntil(DriveState::live));
}

void DriveVolumeSetupTest::setUpLater_data() {
    QTest::addColumn<bool>("completes");
    QTest::newRow("completed") << true;
    QTest::newRow("declined") << false;
}

void DriveVolumeSetupTest::setUpLater() {
    QFETCH(bool, completes);
    DriveWorld world;
    world.setup.setAvailable(true);
    Preferences::setVolumeSetupDeclined(true);
    world.engine.setQueuedUploads(5); // they are not waited for
    QVERIFY(world.goLive());
    const auto done = started(world.drive->setUpFinderLocation());
    QVERIFY(world.advanceUntil([&] { return world.setup.isRunning(); }));
    QVERIFY(!world.hasEngine() && !world.drive->isMounted());
    world.setup.setInstalled(completes, completes);
    if (completes)
        world.setup.end(VolumeSetup::Outcome::completed);
    else
        world.setup.end(VolumeSetup::Outcome::declined);
    QVERIFY(world.advanceUntil([&] { return done->isDone && world.drive->state() == DriveState::live; }));
    QCOMPARE(world.platform.userDefaults().get<bool>(declinedKey), std::optional(!completes));
    QCOMPARE(world.engine.starts(), 2);
    QCOMPARE(world.drive->mountPoint(), completes ? volume : Paths::homeMountPoint());
}

void DriveVolumeSetupTest::noSetUpOnThisSystem() {
    DriveWorld world;
    QVERIFY(world.goLive());
    QVERIFY(started(world.drive->setUpFinderLocation())->isDone);
    world.advance(10s);
    QCOMPARE(world.setup.runs(), 0);
    QCOMPARE(world.states(), QStringList({u"starting"_s, u"live"_s}));
    // What was never offered is not declined.
    QVERIFY(!world.platform.userDefaults().keys().contains(declinedKey));
}

QTEST_GUILESS_MAIN(DriveVolumeSetupTest)
#include "DriveVolumeSetupTest.moc"
