// SPDX-License-Identifier: LicenseRef-Quillmount
// From no drive to a live one: the first state, the launch, the leftovers of an earlier run, the wait for the mount.
#include "App/Engine/MountPoint.h"
#include "App/Support/Paths.h"
#include "Tests/App/Engine/DriveWorld.h"
#include "Tests/Support/Started.h"

#include <QtTest>

#include <csignal>
#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

using namespace quillmount;
using namespace std::chrono_literals;
using namespace Qt::StringLiterals;
using Kind = ErrorMapper::Kind;

class DriveStartTest : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void everyPathUpdateIsAssigned();
    void startThatCannotLaunch_data();
    void startThatCannotLaunch();
    void launch();
    void leftovers_data();
    void leftovers();
    void cacheOfAnotherEngine();
    void usersOwnFolder();
    void usersOwnMount();
    void mountCommandIsRetried();
    void deadline();
    void ejectAtTheDeadline();
    void deadlineWithUploads();
    void ejectDuringTheMountCommand();
};

void DriveStartTest::everyPathUpdateIsAssigned() {
    DriveWorld world;
    DriveEngine &drive = world.makeDrive();
    QSignalSpy changed(&drive, &DriveEngine::isOnlineChanged);
    world.platform.networkPath().report(false);
    world.platform.networkPath().report(false);
    QVERIFY(drive.isOnline());                             // assigned from the event loop, not inside the report
    QVERIFY(waitFor([&] { return changed.size() == 3; })); // with the one that says how it is at first
    QVERIFY(!drive.isOnline());
    QCOMPARE(world.states(), QStringList());
}

void DriveStartTest::startThatCannotLaunch_data() {
    QTest::addColumn<QString>("executable");
    QTest::addColumn<QStringList>("states");
    QTest::newRow("missing") << QString() << QStringList(u"failed(unknown)"_s);
    QTest::newRow("not executable") << u"/etc/passwd"_s << QStringList({u"starting"_s, u"failed(unknown)"_s});
    QTest::newRow("gone") << u"/no/such/engine"_s << QStringList({u"starting"_s, u"failed(unknown)"_s});
}

void DriveStartTest::startThatCannotLaunch() {
    QFETCH(QString, executable);
    DriveWorld world;
    world.platform.bundle().setExecutable(u"QuillmountEngine"_s, executable);
    if (executable.isEmpty())
        world.platform.bundle().removeExecutable(u"QuillmountEngine"_s);
    world.makeDrive().start();
    QTEST(world.states(), "states");
    QVERIFY(!world.hasEngine());
    world.advance(60s); // nothing is retried by itself
    QTEST(world.states(), "states");

    world.platform.bundle().setExecutable(u"QuillmountEngine"_s, EngineScript::executable());
    world.drive->retry();
    QVERIFY(world.advanceUntil(DriveState::live));
}

void DriveStartTest::launch() {
    DriveWorld world;
    const auto handler = signal(SIGINT, SIG_IGN);
    const auto childHandler = signal(SIGCHLD, SIG_IGN);
    const int leaked = open("/dev/null", O_RDONLY);
    world.engine.setQueuedUploads(2);
    qint64 pendingWhenLive = 0;
    connect(&world.makeDrive(), &DriveEngine::stateChanged, this, [&] {
        if (world.drive->state() == DriveState::live)
            pendingWhenLive = world.drive->stats().pendingUploads();
    });
    world.drive->start();
    const bool isLive = world.advanceUntil(DriveState::live);
    close(leaked);
    signal(SIGCHLD, childHandler);
    signal(SIGINT, handler);
    QVERIFY(isLive);
    QCOMPARE(pendingWhenLive, 2);
    QCOMPARE(world.states(), QStringList({u"starting"_s, u"live"_s}));
    world.drive->start();
    world.advance(10s);
    QCOMPARE(world.engine.starts(), 1);

    const QJsonObject start = world.engine.records(u"start"_s).first();
    const QJsonArray arguments = start["arguments"_L1].toArray();
    const QString nfsPort = arguments.at(4).toString().section(u':', 1);
    const QString secret = start["environment"_L1]["RCLONE_RC_PASS"_L1].toString();
    QCOMPARE(secret.size(), 32);
    QVERIFY(!QJsonDocument(arguments).toJson().contains(secret.toUtf8()));
    QVERIFY(start["leadsSession"_L1].toBool());
    QCOMPARE(start["ignoredSignals"_L1].toArray(), QJsonArray());
    QCOMPARE(start["descriptors"_L1].toArray(), QJsonArray{Paths::cacheDirectory() + u"/engine.lock"_s});
    QCOMPARE(start["directory"_L1].toString(), u"/"_s);
    struct stat log = {};
    QCOMPARE(stat(QFile::encodeName(Paths::engineLog()).constData(), &log), 0);
    QCOMPARE(log.st_mode, mode_t(S_IFREG | 0600));

    QCOMPARE(world.takeCommands(),
             QStringList({u"find "_s + EngineScript::executable() + u' ' + Paths::engineConfig(),
                          u"mount %1 quillmount.localhost %2"_s.arg(nfsPort, Paths::homeMountPoint())}));
}

void DriveStartTest::leftovers_data() {
    QTest::addColumn<QStringList>("marks");
    QTest::addColumn<bool>("isMounted");
    QTest::addColumn<QStringList>("commands");
    const auto row = [](const char *name, const QString &marks, bool isMounted, const QString &commands) {
        QTest::newRow(name) << marks.split(u' ', Qt::SkipEmptyParts) << isMounted << commands.split(u' ');
    };
    row("nothing", QString(), false, u"find mount"_s);
    row("a mount", QString(), true, u"find force mount"_s);
    row("an engine", u"engine-left"_s, false, u"find kill mount"_s);
    row("both", u"engine-left"_s, true, u"find unmount kill mount"_s);
    // The mount program settles what was written into the mount before its engine ends.
    row("both, in use", u"engine-left unmount-fails"_s, true, u"find unmount end force kill mount"_s);
    row("a search that fails", u"find-breaks"_s, false, u"find kill mount"_s);
}

void DriveStartTest::leftovers() {
    QFETCH(QStringList, marks);
    QFETCH(bool, isMounted);
    DriveWorld world;
    for (const QString &mark : marks)
        world.setMark(mark);
    world.setMounted(isMounted);
    QVERIFY(world.goLive());
    QTEST(world.takeCommandNames(), "commands");
}

void DriveStartTest::cacheOfAnotherEngine() {
    DriveWorld world;
    QVERIFY(world.goLive());
    // The engine has the lock, and with its end it is free.
    const int lock =
        open(QFile::encodeName(Paths::cacheDirectory() + u"/engine.lock"_s).constData(), O_RDWR | O_CLOEXEC);
    QVERIFY(lock >= 0);
    QVERIFY(flock(lock, LOCK_EX | LOCK_NB) != 0 && errno == EWOULDBLOCK);
    spawn(world.drive->eject(true));
    QVERIFY(world.advanceUntil(DriveState::stopped));
    QCOMPARE(flock(lock, LOCK_EX | LOCK_NB), 0);

    // Somebody else's engine: ours waits until it has gone.
    world.drive->start();
    QCOMPARE(world.drive->state(), DriveState(DriveState::starting));
    QCOMPARE(world.engine.starts(), 1);
    close(lock);
    QVERIFY(world.advanceUntil(DriveState::live));
    QCOMPARE(world.engine.starts(), 2);
}

void DriveStartTest::usersOwnFolder() {
    DriveWorld world;
    const QString letter = Paths::homeMountPoint() + u"/letter"_s;
    QVERIFY(QDir().mkpath(Paths::homeMountPoint()) && QFile(letter).open(QIODevice::WriteOnly));
    QSignalSpy taken(&world.makeDrive(), &DriveEngine::mountPointTaken);
    world.drive->start();
    QCOMPARE(world.drive->state(), DriveState::failure(Kind::mountRefused));
    QCOMPARE(taken.size(), 1);
    QVERIFY(!world.hasEngine() && QFile::exists(letter));

    // What was saved into a folder of Quillmount's own while the drive was away is set aside.
    QVERIFY(QDir().rename(Paths::homeMountPoint(), Paths::homeMountPoint() + u" of mine"_s));
    QVERIFY(MountPoint::prepare(Paths::homeMountPoint()).isUsable);
    QFile::setPermissions(Paths::homeMountPoint(), QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner);
    QVERIFY(QFile(letter).open(QIODevice::WriteOnly));
    QSignalSpy setAside(world.drive.get(), &DriveEngine::filesSetAside);
    world.drive->retry();
    QCOMPARE(setAside.size(), 1);
    QVERIFY(QFileInfo::exists(setAside.first().first().toString() + u"/letter"_s));
    QVERIFY(world.advanceUntil(DriveState::live));
}

void DriveStartTest::usersOwnMount() {
    DriveWorld world;
    world.platform.mountTable().setForeign(Paths::homeMountPoint(), true);
    QSignalSpy taken(&world.makeDrive(), &DriveEngine::mountPointTaken);
    world.setMark(u"engine-left"_s);
    world.drive->start();
    QCOMPARE(world.drive->state(), DriveState::failure(Kind::mountRefused));
    QCOMPARE(taken.size(), 1);
    world.drive->shutdownNow();
    QVERIFY(world.takeCommandNames().filter(QRegularExpression(u"mount|force"_s)).isEmpty());
}

void DriveStartTest::mountCommandIsRetried() {
    DriveWorld world;
    world.setMark(u"mount-fails"_s);
    world.makeDrive().start();
    int mounts = 0;
    QVERIFY(world.advanceUntil([&] { return (mounts += int(world.takeCommandNames().count(u"mount"_s))) >= 3; }));
    // It succeeds, and the mount is listed later.
    world.setMark(u"mount-late"_s);
    world.setMark(u"mount-fails"_s, false);
    QVERIFY(world.advanceUntil([&] { return world.takeCommandNames().contains(u"mount"_s); }));
    world.advance(3s);
    QCOMPARE(world.drive->state(), DriveState(DriveState::starting));
    world.setMounted(true);
    QVERIFY(world.advanceUntil(DriveState::live));
    QCOMPARE(world.takeCommandNames(), QStringList()); // it is not run again
}

void DriveStartTest::deadline() {
    DriveWorld world;
    world.engine.set(u"silent"_s, true);
    const auto begin = world.platform.clock().uptime();
    world.makeDrive().start();
    QVERIFY(waitFor([&] { return world.engine.starts() == 1; }));
    QFile log(Paths::engineLog());
    QVERIFY(log.open(QIODevice::Append) && log.write("ERROR : dial tcp: refused\n") > 0);
    log.close();

    QVERIFY(world.advanceUntil([&] { return world.drive->state().isFailed(); }));
    QCOMPARE(world.drive->state().name(), u"failed(offline)"_s);
    const auto waited = world.platform.clock().uptime() - begin;
    QVERIFY(waited >= 45s && waited < 46s);
    QCOMPARE(world.takeCommandNames(), QStringList(u"find"_s)); // not mounted before the engine answers
    // Its engine is asked to end, which changes nothing more.
    QVERIFY(waitFor([&] { return !world.hasEngine(); }));
    QCOMPARE(world.engine.records(u"signal"_s).size(), 1);
    world.advance(60s);
    QCOMPARE(world.drive->state().name(), u"failed(offline)"_s);
    QCOMPARE(world.engine.starts(), 1);
}

void DriveStartTest::ejectAtTheDeadline() {
    DriveWorld world;
    world.setMark(u"mount-late"_s);
    world.engine.setQueuedUploads(1);
    world.makeDrive().start();
    world.advance(44800ms);
    const auto ejected = started(world.drive->eject(false));
    world.advance(10s);
    QCOMPARE(world.drive->state(), DriveState(DriveState::ejecting));
    world.engine.setQueuedUploads(0);
    QVERIFY(world.advanceUntil(DriveState::stopped));
    QVERIFY(waitFor([&] { return ejected->isDone; }));
}

void DriveStartTest::deadlineWithUploads() {
    DriveWorld world;
    world.setMark(u"mount-late"_s);
    world.engine.setQueuedUploads(1);
    world.makeDrive().start();
    QVERIFY(world.advanceUntil(DriveState::failure(ErrorMapper::Kind::mountRefused)));
    // What was saved in an earlier run goes to Google without a mount, too.
    world.advance(60s);
    QVERIFY(world.hasEngine());
    QCOMPARE(world.drive->stats().pendingUploads(), 1);
    world.engine.setReply(u"vfs/stats"_s, {{u"status"_s, 500}});
    world.advance(60s);
    QVERIFY(world.hasEngine());
    world.engine.setQueuedUploads(0);
    world.advance(2s);
    QVERIFY(waitFor([&] { return !world.hasEngine(); }));
    QCOMPARE(world.drive->state().name(), u"failed(mountRefused)"_s);
}

void DriveStartTest::ejectDuringTheMountCommand() {
    DriveWorld world;
    world.setMark(u"mount-waits"_s);
    world.makeDrive().start();
    QStringList commands;
    QVERIFY(world.advanceUntil([&] { return (commands += world.takeCommandNames()).contains(u"mount"_s); }));
    spawn(world.drive->eject(true));
    QVERIFY(world.advanceUntil(DriveState::stopped));
    world.setMark(u"mount-waits"_s, false);
    world.advance(60s);
    QCOMPARE(world.drive->state(), DriveState(DriveState::stopped));
    QVERIFY(!world.hasEngine() && !world.states().contains(u"live"_s));
}

QTEST_GUILESS_MAIN(DriveStartTest)
#include "DriveStartTest.moc"
