// SPDX-License-Identifier: LicenseRef-Quillmount
// What a live drive asks its engine, and what becomes of the answers.
#include "Tests/App/Engine/DriveWorld.h"
#include "Tests/App/Engine/Started.h"

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
    void figures_data();
    void figures();
    void quota_data();
    void quota();
    void folder_data();
    void folder();
    void recoveredFilesAreToldOnce();
    void missingAnswersLeaveTheFigures();
    void everyFigureIsAssignedByItself();
    void rounds();
    void quotaPeriod();
    void lastError_data();
    void lastError();
    void lastErrorOfADriveThatStarts();
    void refreshWithoutEngine();

private:
    // One round, after those that are under way.
    static bool refreshed(DriveWorld &world) {
        world.advance(0ms);
        const auto round = started(world.drive->refresh());
        return waitFor([&] { return round->isDone; });
    }
};

void DrivePollTest::figures_data() {
    QTest::addColumn<QByteArray>("vfs");
    QTest::addColumn<QByteArray>("core");
    QTest::addColumn<DriveStats>("stats");

    const auto eight = [] {
        QByteArrayList entries;
        for (char number = '1'; number <= '8'; ++number)
            entries.append(QByteArray("{\"name\":\"a/b/") + number + "\",\"percentage\":" + number + "}");
        return "{\"speed\":2.5,\"transferring\":[" + entries.join(',') + "]}";
    };
    QList<DriveTransfer> firstFive;
    for (int number = 1; number <= 5; ++number)
        firstFive.append({u"a/b/%1"_s.arg(number), QString::number(number), number});

    // The figures before each answer: 11 queued, 12 in progress, 13 errored, 14 cached, 15 a second, one transfer.
    const DriveStats before{11, 12, 13, 14, 15, {{u"x/y"_s, u"y"_s, 16}}};
    const auto with = [&before](qint64 queued, qint64 inProgress, qint64 errored, qint64 cached) {
        DriveStats stats = before;
        stats.uploadsQueued = queued;
        stats.uploadsInProgress = inProgress;
        stats.erroredFiles = errored;
        stats.cacheBytes = cached;
        stats.bytesPerSecond = 0;
        stats.transfers.clear();
        return stats;
    };
    const QByteArray idle = "{}";
    QTest::newRow("all there") << "{\"diskCache\":{\"uploadsQueued\":1,\"uploadsInProgress\":2,\"erroredFiles\":3,"
                                  "\"bytesUsed\":5000000000.0}}"_ba
                               << idle << with(1, 2, 3, 5'000'000'000);
    QTest::newRow("an empty cache") << "{\"diskCache\":{}}"_ba << idle << with(0, 0, 0, 0);
    QTest::newRow("no cache") << "{\"inUse\":1}"_ba << idle << with(11, 12, 13, 14);
    QTest::newRow("a cache of another type") << "{\"diskCache\":[1]}"_ba << idle << with(11, 12, 13, 14);
    QTest::newRow("figures of other types") << "{\"diskCache\":{\"uploadsQueued\":\"1\",\"uploadsInProgress\":true,"
                                               "\"erroredFiles\":1.5,\"bytesUsed\":null}}"_ba
                                            << idle << with(0, 0, 0, 0);
    QTest::newRow("a fraction and too much") << "{\"diskCache\":{\"uploadsQueued\":1,\"bytesUsed\":1e300}}"_ba << idle
                                             << with(1, 0, 0, std::numeric_limits<qint64>::max());
    const auto core = [&before](double speed, const QList<DriveTransfer> &transfers) {
        DriveStats stats = before;
        stats.bytesPerSecond = speed;
        stats.transfers = transfers;
        return stats;
    };
    const QByteArray noCache = "{}";
    QTest::newRow("eight transfers") << noCache << eight() << core(2.5, firstFive);
    QTest::newRow("transfers without all") << noCache << "{\"speed\":3,\"transferring\":[{},{\"name\":\"one\"}]}"_ba
                                           << core(3, {{}, {u"one"_s, u"one"_s, 0}});
    QTest::newRow("transfers of other types")
        << noCache << "{\"transferring\":[{\"name\":7,\"percentage\":\"8\"}]}"_ba << core(0, {{}});
    QTest::newRow("not only objects") << noCache << "{\"speed\":\"3\",\"transferring\":[{\"name\":\"one\"},1]}"_ba
                                      << core(0, {});
    QTest::newRow("idle") << noCache << "{\"speed\":0,\"transferring\":null}"_ba << core(0, {});
}

void DrivePollTest::figures() {
    QFETCH(QByteArray, vfs);
    QFETCH(QByteArray, core);
    QFETCH(DriveStats, stats);
    DriveWorld world;
    world.engine.setAnswer(vfsStats, object("{\"diskCache\":{\"uploadsQueued\":11,\"uploadsInProgress\":12,"
                                            "\"erroredFiles\":13,\"bytesUsed\":14}}"));
    world.engine.setAnswer(coreStats, object("{\"speed\":15,\"transferring\":[{\"name\":\"x/y\",\"percentage\":16}]}"));
    QVERIFY(world.goLive() && refreshed(world));
    world.engine.setAnswer(vfsStats, object(vfs));
    world.engine.setAnswer(coreStats, object(core));
    QVERIFY(refreshed(world));
    QVERIFY(world.drive->stats() == stats);
}

void DrivePollTest::quota_data() {
    QTest::addColumn<QByteArray>("answer");
    QTest::addColumn<QList<qint64>>("figures"); // total, used, free; empty for none
    QTest::newRow("all") << "{\"total\":100,\"used\":30,\"free\":60}"_ba << QList<qint64>{100, 30, 60};
    QTest::newRow("free computed") << "{\"total\":100,\"used\":30}"_ba << QList<qint64>{100, 30, 70};
    QTest::newRow("more used than there is") << "{\"total\":100,\"used\":120}"_ba << QList<qint64>{100, 120, 0};
    QTest::newRow("free of another type")
        << "{\"total\":1e2,\"used\":30,\"free\":\"1\"}"_ba << QList<qint64>{100, 30, 70};
    QTest::newRow("large") << "{\"total\":16106127360,\"used\":9007199254740993,\"free\":1}"_ba
                           << QList<qint64>{16'106'127'360, 9'007'199'254'740'993, 1};
    QTest::newRow("no total") << "{\"used\":30,\"free\":60}"_ba << QList<qint64>();
    QTest::newRow("total 0") << "{\"total\":0,\"used\":0,\"free\":0}"_ba << QList<qint64>();
    QTest::newRow("total below 0") << "{\"total\":-1,\"used\":0}"_ba << QList<qint64>();
    QTest::newRow("total of another type") << "{\"total\":\"100\",\"used\":30}"_ba << QList<qint64>();
}

void DrivePollTest::quota() {
    QFETCH(QByteArray, answer);
    DriveWorld world;
    world.engine.setReply(about, {{u"raw"_s, QString::fromUtf8(answer)}});
    QVERIFY(world.goLive() && refreshed(world));
    QCOMPARE(world.engine.requests(about), 1);
    const auto quota = world.drive->quota();
    QTEST((quota ? QList<qint64>{quota->total, quota->used, quota->free} : QList<qint64>()), "figures");
}

void DrivePollTest::folder_data() {
    QTest::addColumn<QByteArray>("answer");
    QTest::addColumn<QString>("url"); // empty for none
    const QString address = u"https://drive.google.com/drive/folders/1aB-_"_s;
    QTest::newRow("found")
        << "{\"list\":[{\"Name\":\"quillmount\",\"ID\":\"0\"},{\"Name\":\"Quillmount\",\"ID\":\"1aB-_\"}]}"_ba
        << address;
    QTest::newRow("the first with an ID") << "{\"list\":[{\"Name\":\"Quillmount\",\"ID\":7},{\"Name\":\"Quillmount\","
                                             "\"ID\":\"1aB-_\"},{\"Name\":\"Quillmount\",\"ID\":\"2\"}]}"_ba
                                          << address;
    QTest::newRow("not there") << "{\"list\":[{\"Name\":\"Quillmount 2\",\"ID\":\"1\"}]}"_ba << QString();
    QTest::newRow("no list") << "{}"_ba << QString();
    QTest::newRow("null") << "{\"list\":null}"_ba << QString();
    QTest::newRow("no address") << "{\"list\":[{\"Name\":\"Quillmount\",\"ID\":\"a b%\"}]}"_ba << QString();
}

void DrivePollTest::folder() {
    QFETCH(QByteArray, answer);
    QFETCH(QString, url);
    DriveWorld world;
    world.engine.setReply(list, {{u"raw"_s, QString::fromUtf8(answer)}});
    QVERIFY(world.goLive() && refreshed(world));
    QCOMPARE(world.drive->driveFolderURL().value_or(QUrl()).toString(), url);
    const int asked = world.engine.requests(list);
    world.advance(10s);
    // It is asked until it is known, then never again.
    QCOMPARE(world.engine.requests(list) > asked, url.isEmpty());
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

void DrivePollTest::rounds() {
    DriveWorld world;
    QVERIFY(world.goLive());
    world.advance(0ms);
    const int asked = world.engine.requests(coreStats);
    MemoryMountWatch *watch = world.platform.mountTable().watchOf(world.drive->mountPoint());
    QVERIFY(watch);
    const int tended = watch->tended();
    world.advance(20s);
    QCOMPARE(world.engine.requests(coreStats), asked + 10);
    QCOMPARE(watch->tended(), tended + 10);
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

void DrivePollTest::lastError_data() {
    QTest::addColumn<QByteArray>("core");
    QTest::addColumn<QString>("state");
    QTest::newRow("refused") << "{\"lastError\":\"oauth2: unauthorized_client\"}"_ba << u"failed(needsReconnect)"_s;
    QTest::newRow("network") << "{\"lastError\":\"read: i/o timeout\"}"_ba << u"live"_s;
    QTest::newRow("disk") << "{\"lastError\":\"no space left\"}"_ba << u"live"_s;
    QTest::newRow("another type") << "{\"lastError\":[\"invalid_grant\"]}"_ba << u"live"_s;
}

void DrivePollTest::lastError() {
    QFETCH(QByteArray, core);
    DriveWorld world;
    world.engine.setAnswer(coreStats, object(core));
    QVERIFY(world.goLive() && refreshed(world));
    QTEST(world.drive->state().name(), "state");
    // The engine goes on, and so do the rounds.
    const int asked = world.engine.requests(vfsStats);
    world.advance(10s);
    QVERIFY(world.engine.requests(vfsStats) > asked);
    QVERIFY(world.hasEngine());
    QTEST(world.drive->state().name(), "state");
}

void DrivePollTest::lastErrorOfADriveThatStarts() {
    DriveWorld world;
    world.setMark(u"mount-late"_s);
    world.engine.setAnswer(coreStats, object("{\"lastError\":\"invalid_grant\",\"speed\":1}"));
    world.makeDrive().start();
    world.advance(1s);
    QVERIFY(refreshed(world));
    QCOMPARE(world.drive->stats().bytesPerSecond, 1.0);
    QCOMPARE(world.drive->state(), DriveState(DriveState::starting));
}

void DrivePollTest::refreshWithoutEngine() {
    DriveWorld world;
    QSignalSpy announced(&world.makeDrive(), &DriveEngine::objectWillChange);
    QVERIFY(started(world.drive->refresh())->isDone);
    QCOMPARE(announced.size(), 0);
}

QTEST_GUILESS_MAIN(DrivePollTest)
#include "DrivePollTest.moc"
