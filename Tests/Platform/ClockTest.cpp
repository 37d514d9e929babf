// SPDX-License-Identifier: LicenseRef-Quillmount
#include "Platform/SystemClock.h"
#include "Platform/Testing/ManualClock.h"

#include <QTest>

using namespace quillmount;
using namespace Qt::StringLiterals;
using namespace std::chrono_literals;

namespace {

// What became of a sleep; shared, because the sleeper outlives whoever cancels it.
using Outcome = std::shared_ptr<std::optional<bool>>;

QCoro::Task<> sleepOnce(Clock *clock, Clock::Duration duration, std::stop_token stop, Outcome outcome) {
    *outcome = co_await clock->sleep(duration, std::move(stop));
}

struct Owner {
    ~Owner() { stop.request_stop(); }
    std::stop_source stop;
};

} // namespace

class ClockTest : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void sleeps_data();
    void sleeps();
    void cancelledByADestructorResumesLater();
    void cancelledCallsAreNotMade();
    void repeatingTimerMayEndItself();
    void manualClockFiresInOrder();
    void manualClockHandlesQueuedEventsBetweenCalls();
    void manualClockStopsAtTheCondition();
};

void ClockTest::sleeps_data() {
    QTest::addColumn<bool>("manual");
    QTest::newRow("real") << false;
    QTest::newRow("manual") << true;
}

void ClockTest::sleeps() {
    QFETCH(bool, manual);
    ManualClock manualClock;
    SystemClock systemClock;
    Clock &clock = manual ? static_cast<Clock &>(manualClock) : systemClock;
    const auto pass = [&] { manualClock.advance(20ms); };

    const auto started = clock.uptime();
    const Outcome whole = std::make_shared<std::optional<bool>>();
    sleepOnce(&clock, 20ms, {}, whole);
    QVERIFY(!*whole);
    pass();
    QTRY_COMPARE(*whole, std::optional(true));
    // A coarse timer may be early by one part in twenty.
    QVERIFY(clock.uptime() - started >= 18ms);

    std::stop_source stop;
    const Outcome cut = std::make_shared<std::optional<bool>>();
    sleepOnce(&clock, 24h, stop.get_token(), cut);
    stop.request_stop();
    QTRY_COMPARE(*cut, std::optional(false));

    const Outcome never = std::make_shared<std::optional<bool>>();
    sleepOnce(&clock, 24h, stop.get_token(), never);
    QCOMPARE(*never, std::optional(false));
    QCOMPARE(manualClock.pending(), 0);
}

void ClockTest::cancelledByADestructorResumesLater() {
    ManualClock clock;
    const Outcome outcome = std::make_shared<std::optional<bool>>();
    auto owner = std::make_unique<Owner>();
    sleepOnce(&clock, 1min, owner->stop.get_token(), outcome);
    owner.reset();
    QVERIFY2(!*outcome, "resumed inside the destructor");
    QTRY_COMPARE(*outcome, std::optional(false));
    clock.advance(2min);
    QCOMPARE(*outcome, std::optional(false));
}

void ClockTest::cancelledCallsAreNotMade() {
    SystemClock clock;
    QStringList calls;
    Clock::TimerId second = 0;
    clock.schedule(1ms, [&] {
        calls.append(u"first"_s);
        clock.cancel(second);
    });
    second = clock.schedule(2ms, [&] { calls.append(u"second"_s); });
    const auto third = clock.schedule(3ms, [&] { calls.append(u"third"_s); });
    clock.cancel(third);
    clock.cancel(third);
    clock.schedule(30ms, [&] { calls.append(u"last"_s); });
    QTRY_COMPARE(calls, QStringList({u"first"_s, u"last"_s}));
}

void ClockTest::repeatingTimerMayEndItself() {
    ManualClock clock;
    std::unique_ptr<RepeatingTimer> timer;
    int calls = 0;
    bool stateOutlivedTheTimer = false;
    auto state = std::make_shared<int>(0);
    timer = std::make_unique<RepeatingTimer>(clock, 10s, [&, held = std::move(state)] {
        const std::weak_ptr<int> watched = held;
        bool &result = stateOutlivedTheTimer;
        if (++calls == 3) {
            timer.reset();
            result = !watched.expired();
        }
    });
    clock.advance(9s);
    QCOMPARE(calls, 0);
    clock.advance(11s);
    QCOMPARE(calls, 2);
    clock.advance(1h);
    QCOMPARE(calls, 3);
    QVERIFY(stateOutlivedTheTimer);
    QCOMPARE(clock.pending(), 0);
}

void ClockTest::manualClockFiresInOrder() {
    ManualClock clock;
    const auto begin = clock.uptime();
    const auto wall = clock.now();
    QStringList log;
    const auto note = [&](const QString &name) {
        return [&, name] { log.append(name + u'@' + QString::number((clock.uptime() - begin).count())); };
    };
    clock.schedule(30ms, note(u"c"_s));
    clock.schedule(10ms, [&] {
        note(u"a"_s)();
        clock.schedule(10ms, note(u"b"_s));
        clock.schedule(200ms, note(u"late"_s));
    });
    clock.schedule(30ms, note(u"d"_s));
    QCOMPARE(clock.nextDue(), std::optional(Clock::Duration(10ms)));
    clock.advance(100ms);
    QCOMPARE(log, QStringList({u"a@10"_s, u"b@20"_s, u"c@30"_s, u"d@30"_s}));
    QCOMPARE(clock.uptime() - begin, Clock::Duration(100ms));
    QCOMPARE(clock.now() - wall, Clock::Duration(100ms));
    QCOMPARE(clock.nextDue(), std::optional(Clock::Duration(110ms)));
}

void ClockTest::manualClockHandlesQueuedEventsBetweenCalls() {
    ManualClock clock;
    QStringList log;
    const auto post = [&](const QString &name) {
        QMetaObject::invokeMethod(
            qApp, [&log, name] { log.append(name); }, Qt::QueuedConnection);
    };
    post(u"before"_s);
    clock.schedule(1ms, [&] {
        log.append(u"first"_s);
        post(u"queued by first"_s);
    });
    clock.schedule(1ms, [&] { log.append(u"second"_s); });
    clock.advance(1ms);
    QCOMPARE(log, QStringList({u"before"_s, u"first"_s, u"queued by first"_s, u"second"_s}));
}

void ClockTest::manualClockStopsAtTheCondition() {
    ManualClock clock;
    const auto begin = clock.uptime();
    int polls = 0;
    const RepeatingTimer poll(clock, 2s, [&] { ++polls; });
    QVERIFY(clock.advanceUntil([&] { return polls == 4; }, 1min));
    QCOMPARE(clock.uptime() - begin, Clock::Duration(8s));
    QVERIFY(!clock.advanceUntil([&] { return polls == 100; }, 7s));
    QCOMPARE(clock.uptime() - begin, Clock::Duration(15s));
}

QTEST_GUILESS_MAIN(ClockTest)
#include "ClockTest.moc"
