// SPDX-License-Identifier: LicenseRef-Quillmount
// What the models of the panel tell of a change, and when.
#include "App/UI/MenuPanel/FaultNotifier.h"
#include "App/UI/MenuPanel/LiveBodyModel.h"
#include "App/UI/MenuPanel/MenuBarLabelModel.h"
#include "App/UI/MenuPanel/MenuPanelModel.h"
#include "App/UI/MenuPanel/StatusBodyModel.h"
#include "App/UI/MenuPanel/UploadInhibitor.h"
#include "Platform/Testing/ScopedPlatform.h"

#include <QAbstractItemModelTester>
#include <QSignalSpy>
#include <QtTest>

using namespace quillmount;
using namespace std::chrono_literals;
using namespace Qt::StringLiterals;

using Kind = ErrorMapper::Kind;

class PanelModelsTest : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void aReplacedBodyIsDead();
    void onlyWhatDiffersIsTold();
    void transfersKeepTheirRows();
    void figuresKeepTheirPace();
    void faultsAreToldOnce();
    void sessionIsHeldWhileUploadsGetOn();

private:
    static DriveSnapshot drive(DriveState state, qint64 queued = 0) {
        DriveSnapshot drive;
        drive.state = state;
        drive.stats.uploadsQueued = queued;
        return drive;
    }
};

void PanelModelsTest::aReplacedBodyIsDead() {
    MenuPanelModel panel(drive(DriveState::live));
    const QAbstractItemModelTester tester(panel.bodies());
    QSignalSpy actions(&panel, &MenuPanelModel::actionRequested);
    auto *const live = qobject_cast<LiveBodyModel *>(panel.bodies()->current());
    QVERIFY(live);
    live->eject();
    QCOMPARE(actions.size(), 1);

    panel.update(drive(DriveState::ejecting, 1));
    QCOMPARE(panel.bodies()->rowCount(), 2);
    QCOMPARE(panel.bodies()->current()->headline(), u"Uploading 1 file, then ejecting"_s);
    QCOMPARE(live->headline(), u"Everything is on Google Drive"_s);
    live->eject();
    QCOMPARE(actions.size(), 1);
    panel.update(drive(DriveState::stopped));
    QCOMPARE(panel.bodies()->rowCount(), 2);
}

void PanelModelsTest::onlyWhatDiffersIsTold() {
    MenuPanelModel panel(drive(DriveState::live, 2));
    const QSignalSpy key(&panel, &MenuPanelModel::stateKeyChanged);
    const QSignalSpy pill(&panel, &MenuPanelModel::pillChanged);
    const QSignalSpy content(panel.bodies()->current(), &PanelBodyModel::contentChanged);
    panel.update(drive(DriveState::live, 2));
    QCOMPARE(content.size(), 0);
    panel.update(drive(DriveState::live, 1));
    QCOMPARE(content.size(), 1);
    QCOMPARE(key.size() + pill.size(), 0);
    DriveSnapshot offline = drive(DriveState::live, 1);
    offline.isOnline = false;
    panel.update(offline);
    QCOMPARE(key.size(), 1);
    QCOMPARE(pill.size(), 1);

    StatusBodyModel ejecting(drive(DriveState::ejecting, 3));
    const QSignalSpy buttons(&ejecting, &StatusBodyModel::buttonsChanged);
    ejecting.update(drive(DriveState::ejecting, 2));
    QCOMPARE(buttons.size(), 0);
    ejecting.update(drive(DriveState::ejecting));
    QCOMPARE(buttons.size(), 1);
}

void PanelModelsTest::transfersKeepTheirRows() {
    TransferListModel model;
    const QAbstractItemModelTester tester(&model);
    const auto update = [&](const QStringList &ids, int percent = 0) {
        QList<DriveTransfer> transfers;
        for (const QString &id : ids)
            transfers.append({id, id, percent});
        model.update(transfers);
    };
    const auto ids = [&] {
        QStringList shown;
        for (int row = 0; row < model.rowCount(); ++row)
            shown.append(model.index(row).data(TransferListModel::transferId).toString());
        return shown;
    };
    update({u"a"_s, u"b"_s, u"c"_s, u"d"_s});
    QCOMPARE(ids(), (QStringList{u"a"_s, u"b"_s, u"c"_s}));
    const QPersistentModelIndex second = model.index(1);
    const QPersistentModelIndex third = model.index(2);
    update({u"c"_s, u"e"_s, u"b"_s, u"b"_s}, 50);
    QCOMPARE(ids(), (QStringList{u"c"_s, u"e"_s, u"b"_s}));
    QCOMPARE(second.row(), 2);
    QCOMPARE(third.row(), 0);
    QCOMPARE(second.data(TransferListModel::spokenText).toString(), u"Uploading b, 50 percent"_s);
    QVERIFY(model.isShown());
    update({});
    QVERIFY(!model.isShown());
    QCOMPARE(ids().size(), 3);
    update({u"two\nlines \u202egnp.exe"_s});
    QCOMPARE(model.rowCount(), 1);
    QCOMPARE(model.index(0).data(TransferListModel::name).toString(), u"two\ufffdlines \ufffdgnp.exe"_s);
}

void PanelModelsTest::figuresKeepTheirPace() {
    const ScopedPlatform platform;
    MenuBarLabelModel item(drive(DriveState::live), platform.clock());
    const QSignalSpy tooltip(&item, &MenuBarLabelModel::tooltipChanged);
    const QSignalSpy image(&item, &MenuBarLabelModel::imageChanged);
    const QSignalSpy menu(&item, &MenuBarLabelModel::menuChanged);
    item.update(drive(DriveState::live, 9));
    QCOMPARE(item.tooltipDetail(), u"9 files left to upload"_s);
    QCOMPARE(item.menu().first().title, u"Uploading 9 files"_s);
    QCOMPARE(item.label().accessibleText(), u"Quillmount, uploading"_s);
    item.update(drive(DriveState::live, 8));
    platform.clock().advance(9s);
    item.update(drive(DriveState::live, 7));
    QCOMPARE(tooltip.size(), 1);
    QCOMPARE(menu.size(), 1);
    platform.clock().advance(1s);
    QCOMPARE(item.menu().first().title, u"Uploading 7 files"_s);
    QCOMPARE(menu.size(), 2);
    QCOMPARE(item.tooltipDetail(), u"7 files left to upload"_s);
    QCOMPARE(tooltip.size(), 2);
    QCOMPARE(image.size(), 1);
    // What the menu offers is never late.
    item.update(drive(DriveState::ejecting, 7));
    item.update(drive(DriveState::ejecting));
    QCOMPARE(item.menu().first().title, u"Ejecting"_s);
    QCOMPARE(menu.size(), 4);
}

void PanelModelsTest::faultsAreToldOnce() {
    const ScopedPlatform platform;
    bool isVisible = false;
    FaultNotifier notifier([&] { return isVisible; });
    const auto &notices = platform.alerts().notices();
    const auto fail = [&](Kind kind) {
        notifier.update(drive(DriveState::starting));
        notifier.update(drive(DriveState::failure(kind)));
    };
    fail(Kind::offline);
    QCOMPARE(notices.size(), 0);
    notifier.update(drive(DriveState::live));
    QCOMPARE(notices.size(), 0);
    fail(Kind::needsReconnect);
    QCOMPARE(notices.size(), 1);
    QCOMPARE(notices.last().title, u"Reconnect your Google account"_s);
    fail(Kind::offline);
    fail(Kind::needsReconnect);
    QCOMPARE(notices.size(), 1);
    notifier.update(drive(DriveState::live));
    notifier.update(drive(DriveState::live, 1));
    QCOMPARE(notices.size(), 2);
    isVisible = true;
    fail(Kind::needsReconnect);
    isVisible = false;
    notifier.update(drive(DriveState::live));
    QCOMPARE(notices.size(), 2);
}

void PanelModelsTest::sessionIsHeldWhileUploadsGetOn() {
    const ScopedPlatform platform;
    UploadInhibitor inhibitor(platform.clock());
    const auto &reason = platform.sessionInhibitor().reason();
    DriveSnapshot uploading = drive(DriveState::live, 2);
    uploading.stats.bytesPerSecond = 1;
    inhibitor.update(uploading);
    QVERIFY(reason);
    uploading.stats.bytesPerSecond = 0;
    platform.clock().advance(59s);
    inhibitor.update(uploading);
    QVERIFY(reason);
    platform.clock().advance(1s);
    QVERIFY(!reason);
    inhibitor.update(uploading);
    QVERIFY(!reason);
    inhibitor.update(drive(DriveState::ejecting, 1));
    QVERIFY(reason);
    DriveSnapshot offline = uploading;
    offline.isOnline = false;
    inhibitor.update(offline);
    QVERIFY(!reason);
}

QTEST_GUILESS_MAIN(PanelModelsTest)
#include "PanelModelsTest.moc"
