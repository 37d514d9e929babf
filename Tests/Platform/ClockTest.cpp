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
    void sleeps();
    void cancelledByADestructorResumesLater();
    void cancelledCallsAreNotMade();
    void repeatingTimerMayEndItself();
};

void ClockTest::sleeps() {
    SystemClock clock;
    const auto started = clock.uptime();
    const Outcome whole = std::make_shared<std::optional<bool>>();
    sleepOnce(&clock, 20ms, {}, whole);
    QVERIFY(!*whole);
    QTRY_COMPARE(*whole, std::optional(true));
    // A coarse timer may be early by one part in twenty.
    QVERIFY(clock.uptime() - started >= 18ms);

    std::stop_source stop;
    stop.request_stop();
    const Outcome never = std::make_shared<std::optional<bool>>();
    sleepOnce(&clock, 24h, stop.get_token(), never);
    QCOMPARE(*never, std::optional(false));
}

void ClockTest::cancelledByADestructorResumesLater() {
    ManualClock clock;
    const Outcome outcome = std::make_shared<std::optional<bool>>();
    auto owner = std::make_unique<Owner>();
    sleepOnce(&clock, 1min, owner->stop.get_token(), outcome);
    owner.reset();
    QVERIFY2(!*outcome, "resumed inside the destructor");
    QTRY_COMPARE(*outcome, std::optional(false));
    QCOMPARE(clock.pending(), 0);
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

QTEST_GUILESS_MAIN(ClockTest)
#include "ClockTest.moc"
