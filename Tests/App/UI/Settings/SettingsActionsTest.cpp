// SPDX-License-Identifier: LicenseRef-Quillmount
// What the settings do to a real drive.
#include "App/UI/Settings/SettingsActions.h"
#include "App/Support/Preferences.h"
#include "Tests/App/Engine/DriveWorld.h"

#include <QSignalSpy>
#include <QtTest>

using namespace quillmount;
using namespace std::chrono_literals;
using namespace Qt::StringLiterals;

class SettingsActionsTest : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void manySizesAreOneRelaunch();
    void aDriveThatIsSentAwayStaysAway();
    void disconnects();
};

void SettingsActionsTest::manySizesAreOneRelaunch() {
    DriveWorld world;
    QVERIFY(world.goLive());
    SettingsModel model;
    const SettingsActions actions(model, *world.drive, world.setup);
    const qsizetype before = world.states().count(u"live"_s);
    for (int row = 0; row < 5; ++row)
        model.general()->chooseCacheSize(row);
    QVERIFY(world.advanceUntil(DriveState::ejecting));
    model.general()->chooseCacheSize(1); // it is told at the launch that follows
    QVERIFY(world.advanceUntil(DriveState::live));
    world.advance(5s);
    QCOMPARE(world.drive->state(), DriveState::live);
    QCOMPARE(world.states().count(u"live"_s), before + 1);
    // There and back is no change.
    model.general()->chooseCacheSize(3);
    model.general()->chooseCacheSize(1);
    world.advance(5s);
    QCOMPARE(world.states().count(u"live"_s), before + 1);
}

void SettingsActionsTest::aDriveThatIsSentAwayStaysAway() {
    DriveWorld world;
    world.engine.setQueuedUploads(1, 0);
    QVERIFY(world.goLive());
    DriveEngine &drive = *world.drive;
    QVERIFY(world.advanceUntil([&] { return drive.stats().pendingUploads() == 1; }));
    SettingsModel model;
    const SettingsActions actions(model, drive, world.setup);
    const auto waiting = drive.eject(false);
    model.general()->chooseCacheSize(4);
    world.advance(5s);
    QCOMPARE(drive.state(), DriveState::ejecting);
    QCOMPARE(Preferences::cacheSizeGB(), 100);
    // It stays after all, and gets its new size.
    const qsizetype before = world.states().count(u"live"_s);
    drive.cancelEject();
    QVERIFY(world.advanceUntil([&] { return world.states().count(u"live"_s) == before + 2; }));

    const auto forced = drive.eject(true);
    QVERIFY(world.advanceUntil(DriveState::stopped));
    model.general()->chooseCacheSize(0);
    world.advance(5s);
    QCOMPARE(drive.state(), DriveState::stopped);
}

void SettingsActionsTest::disconnects() {
    DriveWorld world;
    QVERIFY(world.goLive());
    world.platform.userDefaults().set(u"serverStatus"_s, QByteArray("{}"));
    SettingsModel model;
    SettingsActions actions(model, *world.drive, world.setup);
    AccountSettingsModel &account = *model.account();
    QVERIFY(account.isSignedIn());
    account.askToDisconnect();
    QVERIFY(world.advanceUntil([&] { return account.confirmation()->isAsking(); }));
    const QSignalSpy disconnected(&actions, &SettingsActions::disconnected);
    account.confirmation()->confirm();
    QVERIFY(world.advanceUntil([&] { return !disconnected.isEmpty(); }));
    QVERIFY(!account.confirmation()->isOpen());
    QVERIFY(!account.isSignedIn());
    QVERIFY(!world.platform.userDefaults().value(u"serverStatus"_s));
}

QTEST_MAIN(SettingsActionsTest)
#include "SettingsActionsTest.moc"
