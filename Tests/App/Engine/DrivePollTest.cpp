// SPDX-License-Identifier: LicenseRef-Quillmount
// What a live drive asks its engine, and what becomes of the answers.
#include "Tests/App/Engine/DriveWorld.h"
#include "Tests/Support/Started.h"

#include <QtTest>

using namespace quillmount;
using namespace std::chrono_literals;
using namespace Qt::StringLiterals;

namespace {

QJsonObject object(const char *text) {
    return QJsonDocument::fromJson(text).object();
}

const QString vfsStats = u"vfs/stats"_s;
const QString coreStats = u"core/stats"_s;
const QString about = u"operations/about"_s;
const QString list = u"operations/list"_s;

} // namespace

class DrivePollTest : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void figures();
    void recoveredFilesAreToldOnce();
    void missingAnswersLeaveTheFigures();
    void everyFigureIsAssignedByItself();
    void quotaPeriod();
    void revokedGrant();

private:
    // One round, after those that are under way.
    static bool refreshed(DriveWorld &world) {
        world.advance(0ms);
        const auto round = started(world.drive->refresh());
        return waitFor([&] { return round->isDone; });
    }
};

void DrivePollTest::figures() {
    DriveWorld world;
    world.engine.setAnswer(vfsStats, object("{\"diskCache\":{\"uploadsQueued\":1,\"uploadsInProgress\":2,"
                                            "\"erroredFiles\":3,\"bytesUsed\":4}}"));
    world.engine.setAnswer(coreStats, object("{\"speed\":5,\"transferring\":[{\"name\":\"x/y\",\"percentage\":6}]}"));
    world.engine.setAnswer(about, object("{\"total\":100,\"used\":30}"));
    QVERIFY(world.goLive() && refreshed(world));
    QCOMPARE(world.drive->stats(), (DriveStats{1, 2, 3, 4, 5, {{u"x/y"_s, u"y"_s, 6}}}));
    QCOMPARE(world.drive->quota(), std::optional(DriveQuota{100, 30, 70}));
    QVERIFY(!world.drive->driveFolderURL());
    // The folder is asked for until it is known, then never again.
    const int asked = world.engine.requests(list);
    world.engine.setAnswer(list, object("{\"list\":[{\"Name\":\"Quillmount\",\"ID\":\"1\"}]}"));
    world.advance(10s);
    QCOMPARE(world.drive->driveFolderURL(), std::optional(QUrl(u"https://drive.google.com/drive/folders/1"_s)));
    QCOMPARE(world.engine.requests(list), asked + 1);
    const QList<QJsonObject> requests = world.engine.records(u"request"_s);
    for (const QJsonObject &request : requests) {
        const QJsonObject body = object(request["body"_L1].toString().toUtf8());
        if (request["command"_L1] == list)
            QCOMPARE(body, object("{\"fs\":\"drive:\",\"remote\":\"\",\"opt\":{\"dirsOnly\":true}}"));
        else
            QCOMPARE(body, request["command"_L1] == about ? object("{\"fs\":\"drive:\"}") : QJsonObject());
    }
}

void DrivePollTest::recoveredFilesAreToldOnce() {
    DriveWorld world;
    QVERIFY(world.goLive());
    const QSignalSpy told(world.drive.get(), &DriveEngine::filesRecovered);
    world.engine.setAnswer(vfsStats, object("{\"setAside\":{\"directory\":\"/home/kept\",\"files\":3}}"));
    QVERIFY(refreshed(world));
    world.advance(60s);
    QCOMPARE(told.size(), 1);
    QCOMPARE(told.first(), QVariantList({u"/home/kept"_s, qint64(3)}));
}

void DrivePollTest::missingAnswersLeaveTheFigures() {
    DriveWorld world;
    world.engine.setQueuedUploads(2, 1);
    world.engine.setAnswer(coreStats, object("{\"speed\":7}"));
    QVERIFY(world.goLive() && refreshed(world));
    const DriveStats before = world.drive->stats();
    QCOMPARE(before.uploadsQueued, 2);
    for (const QJsonObject &reply : {QJsonObject{{u"status"_s, 500}}, QJsonObject{{u"raw"_s, u"[1]"_s}}}) {
        world.engine.setReply(vfsStats, reply);
        world.engine.setReply(coreStats, reply);
        // The later questions are asked all the same.
        const int listed = world.engine.requests(list);
        QVERIFY(refreshed(world));
        QVERIFY(world.drive->stats() == before);
        QCOMPARE(world.engine.requests(list), listed + 1);
    }
    QCOMPARE(world.drive->state(), DriveState(DriveState::live));
}

void DrivePollTest::everyFigureIsAssignedByItself() {
    DriveWorld world;
    QVERIFY(world.goLive() && refreshed(world));
    QStringList queued;
    connect(world.drive.get(), &DriveEngine::objectWillChange, this, [&] {
        const DriveStats &stats = world.drive->stats();
        queued.append(u"%1/%2"_s.arg(stats.uploadsQueued).arg(stats.uploadsInProgress));
    });
    QSignalSpy changed(world.drive.get(), &DriveEngine::statsChanged);
    world.engine.setQueuedUploads(3, 4);
    QVERIFY(refreshed(world));
    // Four for the cache, then the speed and the transfers; each announced while the old value is still there.
    QCOMPARE(queued, QStringList({u"0/0"_s, u"3/0"_s, u"3/4"_s, u"3/4"_s, u"3/4"_s, u"3/4"_s}));
    QCOMPARE(changed.size(), 6);
}

void DrivePollTest::quotaPeriod() {
    DriveWorld world;
    world.engine.setReply(about, {{u"status"_s, 500}});
    QVERIFY(world.goLive());
    world.advance(0ms);
    QCOMPARE(world.engine.requests(about), 1);
    // A failure is not repeated before the period is over; setting the system's clock changes nothing.
    world.platform.clock().setNow(world.platform.clock().now() + 24h);
    world.advance(298s);
    QCOMPARE(world.engine.requests(about), 1);
    world.advance(6s);
    QCOMPARE(world.engine.requests(about), 2);
}

void DrivePollTest::revokedGrant() {
    DriveWorld world;
    world.engine.setAnswer(coreStats, object("{\"lastError\":\"oauth2: unauthorized_client\"}"));
    QVERIFY(world.goLive() && refreshed(world));
    QCOMPARE(world.drive->state().name(), u"failed(needsReconnect)"_s);
    // The engine goes on, and so do the rounds.
    const int asked = world.engine.requests(vfsStats);
    world.advance(10s);
    QVERIFY(world.engine.requests(vfsStats) > asked);
    QVERIFY(world.hasEngine());
    QCOMPARE(world.drive->state().name(), u"failed(needsReconnect)"_s);
}

QTEST_GUILESS_MAIN(DrivePollTest)
#include "DrivePollTest.moc"
