// SPDX-License-Identifier: LicenseRef-Quillmount
// What the panel's buttons do to a real drive.
#include "App/UI/MenuPanel/PanelActions.h"
#include "App/UI/MenuPanel/DriveWatcher.h"
#include "Tests/App/Engine/DriveWorld.h"

#include <QSignalSpy>
#include <QtTest>

using namespace quillmount;
using namespace Qt::StringLiterals;

using Action = PanelAction;

class PanelActionsTest : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void aDoubleClickIsOneEject();
    void aPollIsOneChange();
    void opensTheDriveAndItsPage();
    void waitsForTheFrame();
};

void PanelActionsTest::aDoubleClickIsOneEject() {
    DriveWorld world;
    world.engine.setQueuedUploads(1, 0);
    QVERIFY(world.goLive());
    DriveEngine &drive = *world.drive;
    QVERIFY(world.advanceUntil([&] { return drive.stats().pendingUploads() == 1; }));
    PanelActions actions(drive);
    actions.perform(Action::eject);
    actions.perform(Action::eject);
    QCOMPARE(drive.state(), DriveState::live); // the frame with the pressed button comes first
    QVERIFY(world.advanceUntil(DriveState::ejecting));
    // A second one would have taken over, and the drive would never be taken away.
    actions.perform(Action::eject);
    actions.perform(Action::ejectNow);
    QVERIFY(world.advanceUntil(DriveState::stopped));
}

void PanelActionsTest::aPollIsOneChange() {
    DriveWorld world;
    QVERIFY(world.goLive());
    DriveEngine &drive = *world.drive;
    DriveWatcher watcher(drive);
    QVERIFY(watcher.snapshot().isLive());
    world.engine.setQueuedUploads(2, 1);
    const QSignalSpy changes(&watcher, &DriveWatcher::changed);
    QVERIFY(world.advanceUntil([&] { return !changes.isEmpty(); }));
    QCOMPARE(watcher.snapshot().stats.pendingUploads(), 3);
    QCOMPARE(changes.size(), 1);
}

void PanelActionsTest::opensTheDriveAndItsPage() {
    DriveWorld world;
    DriveEngine &drive = world.makeDrive();
    PanelActions actions(drive);
    const auto &opened = world.platform.workspace().opened();
    actions.perform(Action::openDrive); // there is none yet: its bare folder is no place to save into
    actions.perform(Action::openWebDrive);
    QVERIFY(world.advanceUntil([&] { return !opened.isEmpty(); }));
    QCOMPARE(opened, QList{QUrl(u"https://drive.google.com/drive/my-drive"_s)});
    drive.start();
    QVERIFY(world.advanceUntil(DriveState::live));
    actions.perform(Action::openDrive);
    QVERIFY(world.advanceUntil([&] { return opened.size() == 2; }));
    QCOMPARE(opened.last(), QUrl::fromLocalFile(drive.mountPoint()));
}

void PanelActionsTest::waitsForTheFrame() {
    QQuickWindow::setGraphicsApi(QSGRendererInterface::Software);
    DriveWorld world(DriveWorld::signedOut);
    PanelActions actions(world.makeDrive());
    QQuickWindow window;
    window.show();
    QVERIFY(QTest::qWaitForWindowExposed(&window));
    actions.setWindow(&window);
    const QSignalSpy quits(&actions, &PanelActions::quitRequested);
    const QSignalSpy frames(&window, &QQuickWindow::frameSwapped);
    actions.perform(Action::quit);
    // The clock stands still, so it is the frame alone that lets it happen.
    QTRY_COMPARE(quits.size(), 1);
    QVERIFY(!frames.isEmpty());
}

QTEST_MAIN(PanelActionsTest)
#include "PanelActionsTest.moc"
