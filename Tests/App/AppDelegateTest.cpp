// SPDX-License-Identifier: LicenseRef-Quillmount
// How the application starts and ends.
#include "App/AppDelegate.h"
#include "App/Engine/MountPoint.h"
#include "App/Support/Paths.h"
#include "Platform/Testing/MemoryAlerts.h"
#include "Platform/Testing/MemoryTerminationSignals.h"
#include "Tests/App/Engine/DriveWorld.h"

#include <QGuiApplication>
#include <QSessionManager>
#include <QSignalSpy>
#include <QtTest>

#include <csignal>

using namespace quillmount;
using namespace std::chrono_literals;
using namespace Qt::StringLiterals;

class AppDelegateTest : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void quit_data();
    void quit();
    void endsWithoutAQuestion_data();
    void endsWithoutAQuestion();
    void signalWhileAsking();
    void tellsOfFilesSetAside();
    void tellsThatThePlaceIsTaken();

private:
    // Time goes on once the engine answers, in steps so small that no deadline passes meanwhile.
    static bool waitInSteps(DriveWorld &world, const std::function<bool()> &condition) {
        return waitFor([&] {
            if (world.engine.isReady(world.engine.pid()))
                world.platform.clock().advance(10ms);
            return condition();
        });
    }
    static bool goLive(DriveWorld &world, AppDelegate &delegate) {
        delegate.applicationDidFinishLaunching();
        return waitInSteps(world, [&] { return delegate.engine().state() == DriveState::live; });
    }
};

void AppDelegateTest::quit_data() {
    QTest::addColumn<int>("queued");
    QTest::addColumn<int>("inProgress");
    QTest::addColumn<int>("answer");
    QTest::addColumn<QString>("question");
    QTest::addColumn<bool>("ends");
    QTest::newRow("nothing pending") << 0 << 0 << 0 << QString() << true;
    QTest::newRow("one, kept running") << 1 << 0 << 0 << u"1 file still uploading"_s << false;
    QTest::newRow("three, quit anyway") << 2 << 1 << 1 << u"3 files still uploading"_s << true;
}

void AppDelegateTest::quit() {
    QFETCH(const int, queued);
    QFETCH(const int, inProgress);
    QFETCH(const int, answer);
    QFETCH(const QString, question);
    QFETCH(const bool, ends);
    DriveWorld world;
    world.engine.setQueuedUploads(queued, inProgress);
    AppDelegate delegate(world.setup);
    QVERIFY(goLive(world, delegate));
    QVERIFY(waitInSteps(world, [&] { return delegate.engine().stats().pendingUploads() == queued + inProgress; }));
    world.platform.alerts().answerNext(answer);
    // A second wish to quit while the question stands only raises it.
    world.platform.alerts().whileAsking([&delegate] {
        QEvent again(QEvent::Quit);
        QVERIFY(delegate.eventFilter(QCoreApplication::instance(), &again));
    });
    // As the desktop's end, or a quit of the toolkit, arrives.
    QEvent event(QEvent::Quit);
    QCOMPARE(delegate.eventFilter(QCoreApplication::instance(), &event), !ends);
    QCOMPARE(event.isAccepted(), ends);
    QCOMPARE(delegate.engine().isMounted(), !ends);
    const auto questions = world.platform.alerts().questions();
    QCOMPARE(questions.size(), question.isEmpty() ? 0 : 1);
    QCOMPARE(world.platform.alerts().raised(), questions.size());
    for (const auto &asked : questions) {
        QCOMPARE(asked.message, question);
        QCOMPARE(asked.informative,
                 u"Quitting ejects the drive. Unfinished uploads are kept on this Mac and finish the "
                 "next time Quillmount opens."_s);
        QCOMPARE(asked.buttons, QStringList({u"Keep Running"_s, u"Quit Anyway"_s}));
    }
    if (!ends)
        delegate.engine().shutdownNow();
}

void AppDelegateTest::endsWithoutAQuestion_data() {
    QTest::addColumn<QString>("by");
    QTest::addColumn<QList<QVariantList>>("told"); // once the drive is gone: the status to end with
    QTest::newRow("end of the session") << u"session"_s << QList<QVariantList>{{0}};
    QTest::newRow("signal") << u"signal"_s << QList<QVariantList>{{0}};
    QTest::newRow("end of the event loop") << u"loop"_s << QList<QVariantList>();
}

void AppDelegateTest::endsWithoutAQuestion() {
    QFETCH(const QString, by);
    DriveWorld world;
    world.engine.setQueuedUploads(1);
    AppDelegate delegate(world.setup);
    const QSignalSpy terminated(&delegate, &AppDelegate::terminated);
    QVERIFY(goLive(world, delegate));
    QVERIFY(waitInSteps(world, [&] { return delegate.engine().stats().pendingUploads() == 1; }));
    if (by == "session"_L1) {
        // The toolkit's own, as on a desktop that allows no question at its end.
        auto *session = qGuiApp->findChild<QSessionManager *>();
        QVERIFY(session && !session->allowsInteraction());
        Q_EMIT qGuiApp->commitDataRequest(*session);
    } else if (by == "signal"_L1) {
        world.platform.terminationSignals().deliver(SIGTERM);
    } else {
        QMetaObject::invokeMethod(QCoreApplication::instance(), "aboutToQuit");
    }
    QVERIFY(!delegate.engine().isMounted());
    QTEST(QList<QVariantList>(terminated), "told");
    QVERIFY(world.platform.alerts().questions().isEmpty());
}

void AppDelegateTest::signalWhileAsking() {
    DriveWorld world;
    world.engine.setQueuedUploads(1);
    AppDelegate delegate(world.setup);
    int dismissedBefore = 0; // the seconds in which nobody could take the question away
    connect(&delegate, &AppDelegate::willShutDown, this,
            [&] { dismissedBefore = world.platform.alerts().dismissed(); });
    QVERIFY(goLive(world, delegate));
    QVERIFY(waitInSteps(world, [&] { return delegate.engine().stats().pendingUploads() == 1; }));
    world.platform.alerts().whileAsking([&world] { world.platform.terminationSignals().deliver(SIGTERM); });
    QVERIFY(delegate.applicationShouldTerminate() == AppDelegate::TerminateReply::now);
    QCOMPARE(dismissedBefore, 1);
    QVERIFY(!delegate.engine().isMounted());
}

void AppDelegateTest::tellsOfFilesSetAside() {
    DriveWorld world;
    QVERIFY(MountPoint::prepare(Paths::homeMountPoint()).isUsable);
    QFile::setPermissions(Paths::homeMountPoint(), QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner);
    QVERIFY(QFile(Paths::homeMountPoint() + u"/stray.txt"_s).open(QIODevice::WriteOnly));
    AppDelegate delegate(world.setup);
    QVERIFY(goLive(world, delegate));
    QCOMPARE(world.platform.alerts().notices().size(), 1);
    QVERIFY(world.platform.alerts().notices().first().text.contains(Paths::homeMountPoint()));
    const QJsonObject recovered{{u"directory"_s, u"/home/kept"_s}, {u"files"_s, 2}};
    world.engine.setAnswer(u"vfs/stats"_s, QJsonObject{{u"setAside"_s, recovered}});
    QVERIFY(waitInSteps(world, [&] { return world.platform.alerts().notices().size() == 2; }));
    const QString text = world.platform.alerts().notices().last().text;
    QVERIFY2(text.contains(u"2 files"_s) && text.contains(u"/home/kept"_s), qPrintable(text));
    delegate.engine().shutdownNow();
}

void AppDelegateTest::tellsThatThePlaceIsTaken() {
    DriveWorld world;
    QVERIFY(QDir().mkpath(Paths::homeMountPoint() + u"/checkout"_s));
    AppDelegate delegate(world.setup);
    delegate.applicationDidFinishLaunching();
    QCOMPARE(world.platform.alerts().notices().size(), 1);
    QVERIFY(world.platform.alerts().notices().first().text.contains(Paths::homeMountPoint() + u','));
}

QTEST_MAIN(AppDelegateTest)
#include "AppDelegateTest.moc"
