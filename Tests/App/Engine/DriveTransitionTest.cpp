// SPDX-License-Identifier: LicenseRef-Quillmount
// The table of transitions by itself: no engine, no time.
#include "App/Engine/DriveTransition.h"

#include <QMetaEnum>
#include <QtTest>

using namespace quillmount;
using namespace Qt::StringLiterals;
using Event = DriveTransition::Event;
using Circumstances = DriveTransition::Circumstances;
using Kind = ErrorMapper::Kind;

namespace {

const QList<DriveState> states{DriveState::failure(Kind::offline),
                               DriveState::signedOut,
                               DriveState::stopped,
                               DriveState::starting,
                               DriveState::live,
                               DriveState::ejecting};

// Of the states that `event` leads to from each of `states`, in their order; "-" where it changes nothing.
QString targets(Event event, const Circumstances &now) {
    QStringList names;
    for (const DriveState &from : states) {
        const auto next = DriveTransition::next(from, event, now);
        names.append(next ? next->name() : u"-"_s);
    }
    return names.join(u' ');
}

} // namespace

Q_DECLARE_METATYPE(Circumstances)

class DriveTransitionTest : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void transitions_data();
    void transitions();
    void whateverHappens();
};

// Those that no drive makes in the other tests, or only from some of the states.
void DriveTransitionTest::transitions_data() {
    QTest::addColumn<Event>("event");
    QTest::addColumn<Circumstances>("now");
    QTest::addColumn<QString>("targets"); // from failed, signedOut, stopped, starting, live, ejecting
    const auto row = [](const char *name, Event event, const Circumstances &now, const QString &expected) {
        const bool everywhere = !expected.contains(u' ');
        QTest::newRow(name) << event << now << (everywhere ? QStringList(6, expected).join(u' ') : expected);
    };
    row("a start without an account", Event::start, {}, u"signedOut"_s);
    row("a withdrawn start", Event::startWithdrawn, {.hasAccount = true}, u"- - - stopped - -"_s);
    row("another error", Event::engineReportedError, {.kind = Kind::diskFull}, u"-"_s);
    row("a crash", Event::engineExited, {.hasAccount = true, .restartAttempt = 5},
        u"- starting starting starting starting stopped"_s);
    row("a sixth crash", Event::engineExited, {.hasAccount = true, .restartAttempt = 6, .kind = Kind::diskFull},
        u"- failed(diskFull) failed(diskFull) failed(diskFull) failed(diskFull) stopped"_s);
    row("an end without authorisation", Event::engineExited, {.restartAttempt = 1, .kind = Kind::needsReconnect},
        u"- failed(needsReconnect) failed(needsReconnect) failed(needsReconnect) failed(needsReconnect) signedOut"_s);
    row("an end that was asked for", Event::engineExited, {.stopRequested = true}, u"-"_s);
    row("the end at the end of the application", Event::engineExited,
        {.hasAccount = true, .stopRequested = true, .hasShutDown = true}, u"stopped"_s);
    row("the mount lost too often", Event::mountServerGone, {.restartAttempt = 6},
        u"- - - failed(mountRefused) failed(mountRefused) -"_s);
    row("another engine on the cache for too long", Event::cacheInUse, {.restartAttempt = 6},
        u"- - - failed(unknown) - -"_s);
    row("a retry", Event::retry, {}, u"stopped - - - - -"_s);
    row("an eject without engine", Event::eject, {.hasAccount = true}, u"stopped"_s);
    row("an eject without account", Event::eject, {}, u"signedOut"_s);
    row("detached", Event::detached, {.hasAccount = true}, u"stopped"_s);
}

void DriveTransitionTest::transitions() {
    QFETCH(Event, event);
    QFETCH(Circumstances, now);
    QTEST(targets(event, now), "targets");
}

// What holds for every row of the table, whatever is added to it.
void DriveTransitionTest::whateverHappens() {
    const QMetaEnum events = QMetaEnum::fromType<Event>();
    for (int index = 0; index < events.keyCount(); ++index) {
        const auto event = Event(events.value(index));
        for (unsigned bits = 0; bits < 64 * 2 * 5; ++bits) {
            const Circumstances now{.hasAccount = (bits & 1) != 0,
                                    .hasEngine = (bits & 2) != 0,
                                    .isSettingUpVolume = (bits & 4) != 0,
                                    .isMounted = (bits & 8) != 0,
                                    .stopRequested = (bits & 16) != 0,
                                    .hasShutDown = (bits & 32) != 0,
                                    .restartAttempt = (bits & 64) != 0 ? 5 : 6,
                                    .kind = Kind(bits / 128)};
            for (const DriveState &from : states) {
                const auto next = DriveTransition::next(from, event, now);
                if (!next)
                    continue;
                const QByteArray where = events.key(index) + QByteArray(" from ") + from.name().toUtf8() + " to " +
                                         next->name().toUtf8() + ' ' + QByteArray::number(bits);
                QVERIFY2(next != DriveState(DriveState::live) || now.isMounted, where);
                QVERIFY2(next != DriveState(DriveState::ejecting) || now.hasEngine, where);
                QVERIFY2(next != DriveState::failure(Kind::needsReconnect) || now.kind == Kind::needsReconnect, where);
                const bool isByItself =
                    event == Event::engineExited || event == Event::mountServerGone || event == Event::cacheInUse;
                const bool restarts = isByItself && next == DriveState(DriveState::starting);
                QVERIFY2(!restarts || (now.restartAttempt <= 5 && !from.isFailed()), where);
                const bool engineRestarts = restarts && event == Event::engineExited;
                QVERIFY2(!engineRestarts || !(now.stopRequested || now.hasShutDown), where);
            }
        }
    }
}

QTEST_APPLESS_MAIN(DriveTransitionTest)
#include "DriveTransitionTest.moc"
