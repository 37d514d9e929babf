// SPDX-License-Identifier: LicenseRef-Quillmount
// Ejecting the drive with uploads under way, as the person asks for it.
#include "Tests/EndToEnd/DriveInHome.h"
#include "Tests/EndToEnd/TestHome.h"

#include <QTest>

using namespace quillmount;
using namespace Qt::StringLiterals;

class EjectTest : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void waitsForUploadsUntilCancelledOrForced();
};

void EjectTest::waitsForUploadsUntilCancelledOrForced() {
    TestHome home;
    DriveInHome drive(home);
    DriveEngine &engine = drive.engine();
    QVERIFY(drive.goLive());
    int stalled = home.stallUploads();
    const QByteArray first = someBytes(1'000'001, 1);
    QVERIFY(home.save(u"first.bin"_s, first));
    QTRY_VERIFY_WITH_TIMEOUT(home.hits(stalled) > 0, 20'000);

    // Cancelled while it waits: the drive is as before, also later.
    spawn(engine.eject(false));
    QCOMPARE(engine.state(), DriveState::ejecting);
    QTRY_COMPARE(engine.stats().pendingUploads(), 1);
    QVERIFY(home.isMounted());
    engine.cancelEject();
    QCOMPARE(engine.state(), DriveState::live);
    QCOMPARE(home.load(u"first.bin"_s), first);

    // Without a cancel it waits until Google has everything.
    spawn(engine.eject(false));
    QCOMPARE(engine.state(), DriveState::ejecting);
    home.google.clearFault(stalled);
    QVERIFY(drive.comesTo(DriveState::stopped, 40));
    QCOMPARE(home.onGoogle(u"first.bin"_s), first);
    QVERIFY(home.isQuiet());

    // Forced while it waits: gone at once, and completed after the next start.
    engine.start();
    QVERIFY(drive.comesTo(DriveState::live));
    stalled = home.stallUploads();
    const QByteArray second = someBytes(500'001, 2);
    QVERIFY(home.save(u"second.bin"_s, second));
    QTRY_VERIFY_WITH_TIMEOUT(home.hits(stalled) > 0, 20'000);
    spawn(engine.eject(false));
    engine.ejectNow();
    QVERIFY(drive.comesTo(DriveState::stopped, 10));
    QVERIFY(home.isQuiet());
    QCOMPARE(home.onGoogle(u"second.bin"_s), std::nullopt);
    home.google.clearFault(stalled);
    engine.start();
    QTRY_COMPARE_WITH_TIMEOUT(home.onGoogle(u"second.bin"_s), second, 40'000);
    QCOMPARE(drive.states(),
             QStringList({u"stopped"_s, u"starting"_s, u"live"_s, u"ejecting"_s, u"live"_s, u"ejecting"_s, u"stopped"_s,
                          u"starting"_s, u"live"_s, u"ejecting"_s, u"stopped"_s, u"starting"_s, u"live"_s}));
}

QTEST_MAIN(EjectTest)
#include "EjectTest.moc"
