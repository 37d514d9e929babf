// SPDX-License-Identifier: LicenseRef-Quillmount
// The person acts on a drive that failed: tries again, or connects an account anew.
#include "App/Engine/EngineConfig.h"
#include "App/Support/Paths.h"
#include "App/Support/Preferences.h"
#include "Tests/Engine/DriveWorld.h"
#include "Tests/Engine/Started.h"

#include <QtTest>

using namespace quillmount;
using namespace std::chrono_literals;
using namespace Qt::StringLiterals;

namespace {
const QString newToken = u"{\"refresh_token\":\"second\"}"_s;
}

class DriveReconnectTest : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void firstConnection();
    void connectionThatCannotBeSaved();
    void connectionWithoutAddress();
    void revokedThenConnected();
    void connectingALiveDrive();
    void retryWithARunningEngine_data();
    void retryWithARunningEngine();
    void retryOfALiveDriveChangesNothing();
    void impatience_data();
    void impatience();
    void waitingEjectIsOvertaken();

private:
    // The grant is revoked: the drive says so, and its engine runs on.
    static bool revoke(DriveWorld &world) {
        world.engine.setAnswer(u"core/stats"_s, QJsonObject{{u"lastError"_s, u"invalid_grant"_s}});
        const bool failed = world.advanceUntil(DriveState::failure(ErrorMapper::Kind::needsReconnect));
        world.engine.setAnswer(u"core/stats"_s, QJsonObject());
        return failed && world.hasEngine();
    }
};

void DriveReconnectTest::firstConnection() {
    DriveWorld world(DriveWorld::signedOut);
    const auto connected = started(world.makeDrive().connect(newToken, u"someone@example.com"_s));
    QVERIFY(world.advanceUntil(DriveState::live));
    QVERIFY(connected->value);
    QCOMPARE(world.states(), QStringList({u"stopped"_s, u"starting"_s, u"live"_s}));
    QCOMPARE(EngineConfig::refreshToken(), std::optional(u"second"_s));
    QCOMPARE(Preferences::accountEmail(), std::optional(u"someone@example.com"_s));
}

void DriveReconnectTest::connectionThatCannotBeSaved() {
    DriveWorld world(DriveWorld::signedOut);
    QVERIFY(QDir().mkpath(Paths::engineConfig() + u"/in the way"_s));
    Preferences::setAccountEmail(u"former@example.com"_s);
    QSignalSpy announced(&world.makeDrive(), &DriveEngine::objectWillChange);
    const auto connected = started(world.drive->connect(newToken, u"someone@example.com"_s));
    QVERIFY(connected->thrown<EngineConfig::ConfigError>());
    QCOMPARE(announced.size(), 0);
    QCOMPARE(Preferences::accountEmail(), std::optional(u"former@example.com"_s));
    QVERIFY(!world.hasEngine());
}

void DriveReconnectTest::connectionWithoutAddress() {
    DriveWorld world;
    Preferences::setAccountEmail(u"former@example.com"_s);
    const auto connected = started(world.makeDrive().connect(newToken, std::nullopt));
    QVERIFY(connected->value);
    QVERIFY(!world.platform.userDefaults().keys().contains(u"accountEmail"_s));
}

void DriveReconnectTest::revokedThenConnected() {
    DriveWorld world;
    QVERIFY(world.goLive() && revoke(world));
    const auto connected = started(world.drive->connect(newToken, std::nullopt));
    // The token is safe before the old engine goes, and again after the old engine may have written its own.
    QCOMPARE(EngineConfig::refreshToken(), std::optional(u"second"_s));
    QVERIFY(EngineConfig::refreshToken() && QFile::remove(Paths::engineConfig()));
    QVERIFY(world.advanceUntil(DriveState::live));
    QVERIFY(connected->value);
    QCOMPARE(EngineConfig::refreshToken(), std::optional(u"second"_s));
    QCOMPARE(world.engine.starts(), 2);
}

void DriveReconnectTest::connectingALiveDrive() {
    DriveWorld world;
    QVERIFY(world.goLive());
    const auto connected = started(world.drive->connect(newToken, std::nullopt));
    QVERIFY(world.advanceUntil([&] { return connected->isDone && world.drive->state() == DriveState::live; }));
    QCOMPARE(world.engine.starts(), 2);
}

void DriveReconnectTest::retryWithARunningEngine_data() {
    QTest::addColumn<bool>("ignoresTerminate");
    QTest::newRow("an engine that ends") << false;
    QTest::newRow("an engine that has to be killed") << true;
}

void DriveReconnectTest::retryWithARunningEngine() {
    QFETCH(bool, ignoresTerminate);
    DriveWorld world;
    world.engine.set(u"ignoreTerminate"_s, ignoresTerminate);
    QVERIFY(world.goLive() && revoke(world));
    const qint64 former = world.engine.pid();
    world.drive->retry();
    QVERIFY(world.advanceUntil(DriveState::live));
    QVERIFY(!processExists(former));
    QCOMPARE(world.states().mid(world.states().size() - 3), QStringList({u"stopped"_s, u"starting"_s, u"live"_s}));

    // The same after a start that ran out of its time while its engine does not go away.
    world.setMark(u"mount-late"_s);
    world.engine.crash(Paths::engineLog());
    QVERIFY(world.advanceUntil(DriveState::failure(ErrorMapper::Kind::mountRefused)));
    world.setMark(u"mount-late"_s, false);
    world.drive->retry();
    QVERIFY(world.advanceUntil(DriveState::live));
}

void DriveReconnectTest::retryOfALiveDriveChangesNothing() {
    DriveWorld world;
    QVERIFY(world.goLive());
    world.takeCommands();
    world.drive->retry();
    world.advance(10s);
    QCOMPARE(world.engine.starts(), 1);
    QCOMPARE(world.drive->state(), DriveState(DriveState::live));
    QCOMPARE(world.takeCommands(), QStringList());
}

void DriveReconnectTest::impatience_data() {
    QTest::addColumn<bool>("signsOut");
    QTest::newRow("a new account") << false;
    QTest::newRow("no account any more") << true;
}

void DriveReconnectTest::impatience() {
    QFETCH(bool, signsOut);
    DriveWorld world;
    world.engine.set(u"ignoreTerminate"_s, true);
    QVERIFY(world.goLive() && revoke(world));
    const auto hasAsked = [&world](int times) {
        return waitFor([&] { return world.engine.records(u"signal"_s).size() == times; });
    };
    // "Try again" twice, and something else before that has come to its end. Each waits for the engine to go, and the
    // first to see it gone starts another.
    world.drive->retry();
    QVERIFY(hasAsked(1));
    world.drive->retry();
    QVERIFY(hasAsked(2));
    const auto last = started(signsOut ? world.drive->signOut() : world.drive->connect(newToken, std::nullopt));
    QVERIFY(hasAsked(3));
    QVERIFY(world.advanceUntil([&] { return last->isDone; }));
    if (!signsOut)
        QVERIFY(world.advanceUntil(DriveState::live));
    world.advance(60s);
    QCOMPARE(world.drive->state().name(), signsOut ? u"signedOut"_s : u"live"_s);
    QCOMPARE(EngineConfig::refreshToken(), signsOut ? std::nullopt : std::optional(u"second"_s));
    QCOMPARE(world.hasEngine(), !signsOut);
    const QList<QJsonObject> starts = world.engine.records(u"start"_s);
    for (const QJsonObject &start : starts)
        QCOMPARE(processExists(start["pid"_L1].toInteger()), !signsOut && start == starts.last());
}

void DriveReconnectTest::waitingEjectIsOvertaken() {
    DriveWorld world;
    world.engine.setQueuedUploads(1);
    QVERIFY(world.goLive());
    const auto ejected = started(world.drive->eject(false));
    world.advance(3s);
    QCOMPARE(world.drive->state(), DriveState(DriveState::ejecting));
    const auto connected = started(world.drive->connect(newToken, std::nullopt));
    QVERIFY(world.advanceUntil([&] { return connected->isDone && world.drive->state() == DriveState::live; }));
    // The eject was about the former drive.
    world.engine.setQueuedUploads(0);
    world.advance(10s);
    QVERIFY(ejected->isDone);
    QCOMPARE(world.drive->state(), DriveState(DriveState::live));
}

QTEST_GUILESS_MAIN(DriveReconnectTest)
#include "DriveReconnectTest.moc"
