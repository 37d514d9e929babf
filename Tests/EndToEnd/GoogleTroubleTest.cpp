// SPDX-License-Identifier: LicenseRef-Quillmount
// What Google and the network do to the drive: the state tells the truth, and nothing is lost.
#include "Tests/EndToEnd/DriveInHome.h"
#include "Tests/EndToEnd/TestHome.h"

#include <QFile>
#include <QJsonDocument>
#include <QTest>

using namespace quillmount;
using namespace std::chrono_literals;
using namespace Qt::StringLiterals;

namespace {

constexpr auto needsReconnect = DriveState::failure(ErrorMapper::Kind::needsReconnect);
constexpr auto offline = DriveState::failure(ErrorMapper::Kind::offline);

} // namespace

class GoogleTroubleTest : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void revokedGrantAtStart_data();
    void revokedGrantAtStart();
    void revokedGrantWhileLive();
    void noNetworkWhileTheTokenExpires();
    void noNetworkAtStart();
    void fullGoogleLosesNothing();
};

void GoogleTroubleTest::revokedGrantAtStart_data() {
    QTest::addColumn<int>("lifetime");
    QTest::newRow("with an expired access token") << 1;
    QTest::newRow("with an access token that looks valid") << 3599;
}

void GoogleTroubleTest::revokedGrantAtStart() {
    QFETCH(int, lifetime);
    TestHome home;
    DriveInHome drive(home);
    const QByteArray token = QJsonDocument(home.newToken(lifetime)).toJson(QJsonDocument::Compact);
    home.google.revokeGrant();
    spawn(drive.engine().connect(QString::fromUtf8(token), std::nullopt));
    QVERIFY(drive.comesTo(needsReconnect));
    QCOMPARE(drive.states(), QStringList({u"stopped"_s, u"starting"_s, u"failed(needsReconnect)"_s}));
    QTRY_VERIFY(home.engine() == 0 && !home.isMounted());

    // Signing in again is all that is needed.
    QVERIFY(drive.goLive());
}

void GoogleTroubleTest::revokedGrantWhileLive() {
    TestHome home;
    DriveInHome drive(home);
    // The engine takes a new access token ten seconds before the old one ends.
    drive.connect(14);
    QVERIFY(drive.comesTo(DriveState::live));
    home.google.revokeGrant();
    const QByteArray contents = someBytes(100'001, 1);
    QVERIFY(home.save(u"pending.bin"_s, contents));
    QVERIFY(drive.comesTo(needsReconnect, 40));
    QCOMPARE(home.onGoogle(u"pending.bin"_s), std::nullopt);

    QVERIFY(drive.goLive());
    QTRY_COMPARE_WITH_TIMEOUT(home.onGoogle(u"pending.bin"_s), contents, 30'000);
}

void GoogleTroubleTest::noNetworkWhileTheTokenExpires() {
    TestHome home;
    DriveInHome drive(home);
    drive.connect(14);
    QVERIFY(drive.comesTo(DriveState::live));
    home.google.setNetwork(u"noSuchHost"_s);
    const QByteArray contents = someBytes(100'001, 1);
    QVERIFY(home.save(u"pending.bin"_s, contents));
    QTRY_COMPARE_WITH_TIMEOUT(drive.engine().stats().erroredFiles, 1, 30'000);
    // Nobody has to sign in again because a laptop was carried out of reach.
    QVERIFY(ErrorMapper::lastLogError().contains("no such host"_L1));
    QCOMPARE(drive.engine().state(), DriveState::live);
    home.google.setNetwork(u"up"_s);
    QTRY_COMPARE_WITH_TIMEOUT(home.onGoogle(u"pending.bin"_s), contents, 40'000);
    QCOMPARE(drive.states(), QStringList({u"stopped"_s, u"starting"_s, u"live"_s}));
}

void GoogleTroubleTest::noNetworkAtStart() {
    TestHome home;
    DriveInHome drive(home, DriveInHome::byHand);
    home.google.setNetwork(u"noSuchHost"_s);
    drive.connect(1);
    // The engine tries for longer than the drive waits for it, or ends and is started again; time passes either way.
    const auto failed = [&] {
        if (ErrorMapper::classify(ErrorMapper::lastLogError()) != ErrorMapper::Kind::unknown)
            drive.clock().advance(1s);
        return drive.engine().state().isFailed();
    };
    QTRY_VERIFY_WITH_TIMEOUT(failed(), 60'000);
    QCOMPARE(drive.engine().state().name(), offline.name());

    home.google.setNetwork(u"up"_s);
    drive.engine().retry();
    const auto live = [&] {
        drive.clock().advance(100ms);
        return drive.engine().state() == DriveState::live;
    };
    QTRY_VERIFY_WITH_TIMEOUT(live(), 20'000);
}

void GoogleTroubleTest::fullGoogleLosesNothing() {
    TestHome home;
    DriveInHome drive(home);
    QVERIFY(drive.goLive());
    home.google.setQuota(1000);
    const QByteArray contents = someBytes(100'001, 1);
    QVERIFY(home.save(u"too large.bin"_s, contents));
    QTRY_COMPARE_WITH_TIMEOUT(drive.engine().stats().erroredFiles, 1, 30'000);
    QCOMPARE(drive.engine().stats().pendingUploads(), 1);
    QCOMPARE(drive.engine().state(), DriveState::live);
    QCOMPARE(home.load(u"too large.bin"_s), contents);
    QCOMPARE(home.onGoogle(u"too large.bin"_s), std::nullopt);

    home.google.setQuota(0);
    QTRY_COMPARE_WITH_TIMEOUT(home.onGoogle(u"too large.bin"_s), contents, 60'000);
    QTRY_COMPARE_WITH_TIMEOUT(drive.engine().stats().erroredFiles, 0, 10'000);
    QCOMPARE(drive.engine().stats().pendingUploads(), 0);
}

QTEST_MAIN(GoogleTroubleTest)
#include "GoogleTroubleTest.moc"
