// SPDX-License-Identifier: LicenseRef-Quillmount
// What the panel's buttons do to a real drive.
#include "App/UI/MenuPanel/PanelActions.h"
#include "App/UI/MenuPanel/DriveWatcher.h"
#include "App/UI/MenuPanel/MenuPanelModel.h"
#include "App/UI/MenuPanel/StatusBodyModel.h"
#include "Tests/App/Engine/DriveWorld.h"

#include <QSignalSpy>
#include <QtTest>

using namespace quillmount;
using namespace Qt::StringLiterals;

using Action = PanelAction;
using Kind = ErrorMapper::Kind;

namespace {

// What makes the drive fail so, or no longer does.
void setCause(DriveWorld &world, Kind kind, bool isThere) {
    if (kind == Kind::mountRefused)
        world.setMark(u"mount-late"_s, isThere);
    else if (kind == Kind::diskFull)
        world.engine.set(u"exit"_s, isThere ? QJsonValue(u"ERROR : no space left"_s) : QJsonValue());
    else
        world.platform.bundle().setExecutable(u"QuillmountEngine"_s,
                                              isThere ? u"/no/such/engine"_s : EngineScript::executable());
}

} // namespace

class PanelActionsTest : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void aDoubleClickIsOneEject();
    void aPollIsOneChange();
    void opensTheDriveAndItsPage();
    void everyFaultHasAWayOut_data();
    void everyFaultHasAWayOut();
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

void PanelActionsTest::everyFaultHasAWayOut_data() {
    QTest::addColumn<Kind>("kind");
    QTest::addColumn<QString>("other"); // button beside "Try Again"
    QTest::newRow("mount refused") << Kind::mountRefused << u"Contact Support"_s;
    QTest::newRow("disk full") << Kind::diskFull << u"Open Settings"_s;
    QTest::newRow("unknown") << Kind::unknown << u"Contact Support"_s;
}

void PanelActionsTest::everyFaultHasAWayOut() {
    QFETCH(const Kind, kind);
    QFETCH(const QString, other);
    DriveWorld world;
    DriveEngine &drive = world.makeDrive();
    const DriveWatcher watcher(drive);
    MenuPanelModel panel(watcher.snapshot());
    connect(&watcher, &DriveWatcher::changed, &panel, [&] { panel.update(watcher.snapshot()); });
    PanelActions actions(drive);
    connect(&panel, &MenuPanelModel::actionRequested, &actions, &PanelActions::perform);
    const QSignalSpy settings(&actions, &PanelActions::settingsRequested);
    const auto body = [&] { return qobject_cast<StatusBodyModel *>(panel.bodies()->current()); };

    setCause(world, kind, true);
    drive.start();
    QVERIFY(world.advanceUntil([&] { return watcher.snapshot().state == DriveState::failure(kind); }));
    body()->press(other);
    QVERIFY(world.advanceUntil([&] { return settings.size() + world.platform.workspace().opened().size() == 1; }));
    QCOMPARE(settings.size(), kind == Kind::diskFull ? 1 : 0);
    setCause(world, kind, false);
    body()->press(u"Try Again"_s);
    QVERIFY(world.advanceUntil(DriveState::live));
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
