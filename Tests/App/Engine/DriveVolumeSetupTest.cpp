// SPDX-License-Identifier: LicenseRef-Quillmount
// Setting the drive up as a location of the file manager: offered once, and asked for later.
#include "App/Engine/EngineConfig.h"
#include "App/Engine/ErrorMapper.h"
#include "App/Support/Paths.h"
#include "App/Support/Preferences.h"
#include "Tests/App/Engine/DriveWorld.h"
#include "Tests/Support/Started.h"

#include <QtTest>

using namespace quillmount;
using namespace std::chrono_literals;
using namespace Qt::StringLiterals;

namespace {
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
    void onRequestOnly();
    void nothingStartsMeanwhile();
    void whoWasNotAskedHasNotDeclined();
    void theEndTakesBackTheQuestion();
    void thePlaceIsKeptWhileTheDriveLives();
    void savedIntoTheBareFolder();
    void somebodyElsesDrive();
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
    QCOMPARE(world.drive->mountPoint(), world.setup.point());
    QCOMPARE(world.setup.readyTimeout(), 5.0);
    QCOMPARE(world.takeCommands().last().section(u' ', 2), u"Quillmount "_s + world.setup.point());
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
    QCOMPARE(world.drive->mountPoint(), completes ? world.setup.point() : Paths::homeMountPoint());
}

void DriveVolumeSetupTest::onRequestOnly() {
    DriveWorld world;
    world.setup.setAvailable(true, false);
    QVERIFY(world.goLive());
    QCOMPARE(world.setup.runs(), 0);
    const auto done = started(world.drive->setUpFinderLocation());
    QVERIFY(world.advanceUntil([&] { return world.setup.isRunning(); }));
    world.setup.end(VolumeSetup::Outcome::failed);
    QVERIFY(done->isDone);
    QCOMPARE(done->value, std::optional(VolumeSetup::Outcome::failed));
}

void DriveVolumeSetupTest::nothingStartsMeanwhile() {
    DriveWorld world;
    world.setup.setAvailable(true, false);
    QVERIFY(world.goLive());
    QSignalSpy changes(world.drive.get(), &DriveEngine::isSettingUpChanged);
    const auto done = started(world.drive->setUpFinderLocation());
    QVERIFY(world.drive->isSettingUp() && changes.size() == 1);
    QVERIFY(world.advanceUntil([&] { return world.setup.isRunning(); }));
    world.drive->start();
    world.drive->retry();
    const auto second = started(world.drive->setUpFinderLocation());
    QCOMPARE(second->value, std::optional(VolumeSetup::Outcome::failed));
    world.advance(1h);
    QVERIFY(!world.hasEngine());
    QCOMPARE(world.setup.runs(), 1);
    world.setup.setInstalled(true, true);
    world.setup.end(VolumeSetup::Outcome::completed);
    QVERIFY(done->isDone && !world.drive->isSettingUp());
    QVERIFY(world.advanceUntil(DriveState::live));
    QCOMPARE(world.engine.starts(), 2);
    QCOMPARE(world.drive->mountPoint(), world.setup.point());
}

void DriveVolumeSetupTest::whoWasNotAskedHasNotDeclined() {
    DriveWorld world;
    world.setup.setAvailable(true);
    world.makeDrive().start();
    world.setup.end(VolumeSetup::Outcome::notAsked);
    QVERIFY(world.advanceUntil(DriveState::live));
    QVERIFY(!world.platform.userDefaults().keys().contains(declinedKey));
}

void DriveVolumeSetupTest::theEndTakesBackTheQuestion() {
    DriveWorld world;
    world.setup.setAvailable(true);
    world.makeDrive().start();
    world.drive->shutdownNow();
    QVERIFY(!world.setup.isRunning());
    world.advance(60s);
    QCOMPARE(world.engine.starts(), 0);
    QVERIFY(!world.platform.userDefaults().keys().contains(declinedKey));
}

void DriveVolumeSetupTest::thePlaceIsKeptWhileTheDriveLives() {
    DriveWorld world;
    world.setup.setAvailable(true, false);
    QVERIFY(world.goLive());
    world.setup.setInstalled(true, true);
    QCOMPARE(world.drive->mountPoint(), Paths::homeMountPoint());
    QVERIFY(world.drive->isMounted());
    world.takeCommands();
    spawn(world.drive->eject(true));
    QVERIFY(world.advanceUntil(DriveState::stopped));
    QCOMPARE(world.takeCommands().first(), u"unmount "_s + Paths::homeMountPoint());
    QCOMPARE(world.drive->mountPoint(), world.setup.point());
}

void DriveVolumeSetupTest::savedIntoTheBareFolder() {
    DriveWorld world;
    world.setup.setAvailable(true, false);
    world.setup.setInstalled(true, true);
    QFile saved(world.setup.point() + u"/letter"_s);
    QVERIFY(saved.open(QIODevice::WriteOnly));
    QSignalSpy told(&world.makeDrive(), &DriveEngine::filesSetAside);
    world.drive->start();
    QVERIFY(world.advanceUntil(DriveState::live));
    QCOMPARE(told.size(), 1);
    const QString aside = told.first().first().toString();
    QVERIFY(aside.startsWith(Paths::homeMountPoint() + u" - "_s) && QFileInfo::exists(aside + u"/letter"_s));
}

void DriveVolumeSetupTest::somebodyElsesDrive() {
    DriveWorld world;
    world.setup.setAvailable(true, false);
    world.setup.setInstalled(true, true);
    world.platform.mountTable().setForeign(world.setup.point(), true);
    world.makeDrive().start();
    QCOMPARE(world.drive->state(), DriveState::failure(ErrorMapper::Kind::mountRefused));
    world.drive->shutdownNow();
    QCOMPARE(world.takeCommandNames(), QStringList(u"find"_s));
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
