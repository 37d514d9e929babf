// SPDX-License-Identifier: LicenseRef-Quillmount
// The user acts on a drive that failed: retries, or connects an account again.
#include "App/Engine/EngineConfig.h"
#include "App/Support/Paths.h"
#include "App/Support/Preferences.h"
#include "Tests/App/Engine/DriveWorld.h"
#include "Tests/Support/Started.h"

#include <QtTest>

#include <algorithm>
#include <vector>

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
    void revokedThenConnected();
    void retryWithARunningEngine();
    void laterWishWins_data();
    void laterWishWins();
    void signOutIsCompletedAtTheEnd();

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
    const QFileInfo file(Paths::engineConfig());
    QCOMPARE(file.dir().entryList({file.fileName() + u'*'}, QDir::AllEntries | QDir::Hidden).size(), 1);
    QCOMPARE(announced.size(), 0);
    QCOMPARE(Preferences::accountEmail(), std::optional(u"former@example.com"_s));
    QVERIFY(!world.hasEngine());
}

void DriveReconnectTest::revokedThenConnected() {
    DriveWorld world;
    Preferences::setAccountEmail(u"former@example.com"_s);
    QVERIFY(world.goLive() && revoke(world));
    const auto connected = started(world.drive->connect(newToken, std::nullopt));
    // The token is safe before the old engine goes, and again after the old engine may have written its own.
    QCOMPARE(EngineConfig::refreshToken(), std::optional(u"second"_s));
    QVERIFY(EngineConfig::refreshToken() && QFile::remove(Paths::engineConfig()));
    QVERIFY(world.advanceUntil(DriveState::live));
    QVERIFY(connected->value);
    QCOMPARE(EngineConfig::refreshToken(), std::optional(u"second"_s));
    QCOMPARE(world.engine.starts(), 2);
    QVERIFY(!Preferences::accountEmail());
}

void DriveReconnectTest::retryWithARunningEngine() {
    DriveWorld world;
    world.engine.set(u"ignoreTerminate"_s, true);
    QVERIFY(world.goLive() && revoke(world));
    const qint64 former = world.engine.pid();
    const qsizetype before = world.states().size();
    world.drive->retry();
    // It shows at once that it works, and a second retry changes nothing.
    QCOMPARE(world.drive->state(), DriveState(DriveState::starting));
    world.drive->retry();
    QVERIFY(world.advanceUntil(DriveState::live));
    QVERIFY(!processExists(former));
    QStringList states = world.states().mid(before);
    states.removeDuplicates();
    QCOMPARE(states, QStringList({u"stopped"_s, u"starting"_s, u"live"_s}));
    QCOMPARE(world.engine.starts(), 2);

    // The same after a start that ran out of its time while its engine does not go away.
    world.setMark(u"mount-late"_s);
    world.engine.crash(Paths::engineLog());
    QVERIFY(world.advanceUntil(DriveState::failure(ErrorMapper::Kind::mountRefused)));
    world.setMark(u"mount-late"_s, false);
    world.drive->retry();
    QVERIFY(world.advanceUntil(DriveState::live));
}

void DriveReconnectTest::laterWishWins_data() {
    QTest::addColumn<QStringList>("wishes");
    QTest::addColumn<QString>("state");
    QTest::addColumn<int>("starts"); // with the one that made it live
    const auto row = [](const char *name, const QString &state, int starts) {
        QTest::newRow(name) << QString::fromLatin1(name).split(u", "_s) << state << starts;
    };
    row("retry, connect", u"live"_s, 2);
    row("retry, eject", u"stopped"_s, 1);
    row("retry, eject, connect", u"live"_s, 2);
    row("retry, sign out", u"signedOut"_s, 1);
    row("connect, eject", u"stopped"_s, 1);
    row("connect, sign out", u"signedOut"_s, 1);
    row("sign out, connect", u"live"_s, 2);
    row("sign out, connect, eject", u"stopped"_s, 1);
    row("sign out, start, retry", u"signedOut"_s, 1);
    row("eject, sign out", u"signedOut"_s, 1);
    row("eject, eject", u"stopped"_s, 1);
}

void DriveReconnectTest::laterWishWins() {
    QFETCH(QStringList, wishes);
    QFETCH(QString, state);
    DriveWorld world;
    world.engine.set(u"ignoreTerminate"_s, true);
    QVERIFY(world.goLive() && revoke(world));
    // All of them before the first has come to its end.
    std::vector<std::shared_ptr<const Outcome<bool>>> outcomes;
    for (const QString &wish : wishes) {
        if (wish == "retry"_L1)
            world.drive->retry();
        else if (wish == "start"_L1)
            world.drive->start();
        else if (wish == "eject"_L1)
            outcomes.push_back(started(world.drive->eject(true)));
        else if (wish == "sign out"_L1)
            outcomes.push_back(started(world.drive->signOut()));
        else
            outcomes.push_back(started(world.drive->connect(newToken, std::nullopt)));
        world.platform.clock().advance(300ms);
    }
    // Whoever waited for an eject or a sign-out was told only when no engine ran.
    QVERIFY(world.advanceUntil(
        [&] { return std::ranges::all_of(outcomes, [](const auto &outcome) { return outcome->isDone; }); }));
    if (state != "live"_L1)
        QVERIFY(!world.hasEngine());
    world.advance(60s);
    QCOMPARE(world.drive->state().name(), state);
    QTEST(world.engine.starts(), "starts");
    const bool connects = wishes.contains(u"connect"_s);
    const auto token = connects ? u"second"_s : u"first"_s;
    QCOMPARE(EngineConfig::refreshToken(), state == "signedOut"_L1 ? std::nullopt : std::optional(token));
    const QList<QJsonObject> starts = world.engine.records(u"start"_s);
    for (const QJsonObject &start : starts)
        QCOMPARE(processExists(start["pid"_L1].toInteger()), state == "live"_L1 && start == starts.last());
}

void DriveReconnectTest::signOutIsCompletedAtTheEnd() {
    DriveWorld world;
    QVERIFY(world.goLive());
    spawn(world.drive->signOut());
    world.drive->shutdownNow();
    QVERIFY(!Paths::hasEngineConfig());
    world.advance(60s);
    QCOMPARE(world.drive->state(), DriveState(DriveState::signedOut));
}

QTEST_GUILESS_MAIN(DriveReconnectTest)
#include "DriveReconnectTest.moc"
