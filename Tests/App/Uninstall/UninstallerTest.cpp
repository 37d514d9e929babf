// SPDX-License-Identifier: LicenseRef-Quillmount
#include "App/Uninstall/Uninstaller.h"

#include "App/Engine/EngineConfig.h"
#include "App/Support/Paths.h"
#include "App/Support/Preferences.h"
#include "Tests/App/Engine/DriveWorld.h"
#include "Tests/Support/Started.h"

#include <QDir>
#include <QDirIterator>
#include <QFile>
#include <QSignalSpy>
#include <QtTest>

using namespace quillmount;
using namespace Qt::StringLiterals;

namespace {

enum class Question { declined, notAsked, failed, mountedMeanwhile };
enum class Application { package, builtInPlace, folder, folderWithoutTrash };

QStringList treeOf(const QString &folder) {
    QStringList paths;
    QDirIterator entries(folder, QDir::AllEntries | QDir::Hidden | QDir::System | QDir::NoDotAndDotDot,
                         QDirIterator::Subdirectories);
    while (entries.hasNext())
        paths.append(entries.next());
    paths.sort();
    return paths;
}

} // namespace

class UninstallerTest : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void stopsAtTheQuestion_data();
    void stopsAtTheQuestion();
    void stopsWhileTheMountStays();
    void leavesTheApplicationOrNot_data();
    void leavesTheApplicationOrNot();
    void endsAnEarlierRun();
};

void UninstallerTest::stopsAtTheQuestion_data() {
    QTest::addColumn<Question>("question");
    QTest::addColumn<bool>("tells");
    QTest::newRow("declined") << Question::declined << false;
    QTest::newRow("nobody could be asked") << Question::notAsked << true;
    QTest::newRow("the set-up stays") << Question::failed << true;
    QTest::newRow("mounted while it stood") << Question::mountedMeanwhile << true;
}

void UninstallerTest::stopsAtTheQuestion() {
    QFETCH(Question, question);
    QFETCH(bool, tells);
    DriveWorld world;
    Preferences::setAccountEmail(u"someone@example.com"_s);
    world.platform.loginItems().setEnabled(true);
    QVERIFY(world.goLive());
    Uninstaller uninstaller(*world.drive, world.setup);
    QSignalSpy finished(&uninstaller, &Uninstaller::finished);
    world.setup.setAvailable(true, false);
    world.setup.setInstalled(true, true);
    const auto done = started(uninstaller.run());
    QVERIFY(world.advanceUntil([&] { return world.setup.isRunning(); }));
    QVERIFY(!world.hasEngine());
    const QStringList tree = treeOf(world.platform.directories().home());
    world.takeCommands();

    // While it stands nothing starts.
    world.drive->start();
    world.drive->retry();
    const auto connected = started(world.drive->connect(u"{}"_s, std::nullopt));
    const auto setUp = started(world.drive->setUpFinderLocation());
    world.advance(std::chrono::minutes(1));
    QVERIFY(connected->thrown<EngineConfig::ConfigError>());
    QVERIFY(setUp->isDone && world.setup.runs() == 0);
    QVERIFY(!world.hasEngine());
    QCOMPARE(world.takeCommandNames(), QStringList());

    if (question == Question::mountedMeanwhile)
        world.setMounted(true);
    world.setup.end(question == Question::declined   ? VolumeSetup::Outcome::declined
                    : question == Question::notAsked ? VolumeSetup::Outcome::notAsked
                    : question == Question::failed   ? VolumeSetup::Outcome::failed
                                                     : VolumeSetup::Outcome::completed);
    QVERIFY(world.advanceUntil([&] { return done->isDone; }));
    QCOMPARE(!done->value->isEmpty(), tells);
    QCOMPARE(finished.count(), 0);
    QCOMPARE(treeOf(world.platform.directories().home()), tree);
    QVERIFY(world.platform.loginItems().isEnabled() && world.setup.hasSidebarEntry());
    QCOMPARE(Preferences::accountEmail(), u"someone@example.com"_s);

    // It can be tried again, and so can the drive.
    world.setMounted(false);
    world.setup.setInstalled(false, false);
    world.drive->start();
    QVERIFY(world.advanceUntil(DriveState::live));
    const auto again = started(uninstaller.run());
    QVERIFY(world.advanceUntil([&] { return again->isDone; }));
    QCOMPARE(finished.count(), 1);
    QVERIFY(!world.platform.loginItems().isEnabled() && !world.setup.hasSidebarEntry());
    QVERIFY(!Preferences::accountEmail());
    Preferences::setAccountEmail(u"late@example.com"_s);
    QVERIFY(!Preferences::accountEmail());
}

void UninstallerTest::stopsWhileTheMountStays() {
    DriveWorld world;
    QVERIFY(world.goLive());
    for (const QString &mark : {u"unmount-fails"_s, u"end-fails"_s, u"force-fails"_s})
        world.setMark(mark);
    world.setup.setAvailable(true, false);
    const QStringList tree = treeOf(world.platform.directories().home());
    Uninstaller uninstaller(*world.drive, world.setup);
    const auto done = started(uninstaller.run());
    QVERIFY(world.advanceUntil([&] { return done->isDone; }));
    QVERIFY(done->value->contains(Paths::homeMountPoint()));
    QCOMPARE(treeOf(world.platform.directories().home()), tree);
    QVERIFY(Paths::hasEngineConfig());
    QCOMPARE(world.setup.removals(), 0);
    world.setMounted(false);
}

void UninstallerTest::leavesTheApplicationOrNot_data() {
    QTest::addColumn<Application>("application");
    QTest::addColumn<QString>("notice");
    QTest::newRow("of a package") << Application::package << u"quillmount-package"_s;
    QTest::newRow("built in place") << Application::builtInPlace << QString();
    QTest::newRow("a folder of its own") << Application::folder << QString();
    QTest::newRow("no trash") << Application::folderWithoutTrash << u"/opt/of its own"_s;
}

void UninstallerTest::leavesTheApplicationOrNot() {
    QFETCH(Application, application);
    QFETCH(QString, notice);
    DriveWorld world;
    world.makeDrive();
    const bool isFolder = application == Application::folder || application == Application::folderWithoutTrash;
    if (isFolder)
        world.platform.bundle().setLocation(u"/opt/of its own"_s);
    if (application == Application::package)
        world.platform.bundle().setInfoString(u"QMPackageName"_s, u"quillmount-package"_s);
    world.platform.workspace().setHasTrash(application == Application::folder);
    QCOMPARE(Uninstaller::consequences().contains(u"moves the app to the Trash"_s), isFolder);
    Uninstaller uninstaller(*world.drive, world.setup);
    QSignalSpy finished(&uninstaller, &Uninstaller::finished);
    const auto done = started(uninstaller.run());
    QVERIFY(world.advanceUntil([&] { return done->isDone; }));
    QCOMPARE(finished.count(), 1);
    QCOMPARE(world.platform.workspace().trashed(),
             application == Application::folder ? QStringList(u"/opt/of its own"_s) : QStringList());
    const auto notices = world.platform.alerts().notices();
    QCOMPARE(notices.size(), notice.isEmpty() ? 0 : 1);
    QVERIFY(notice.isEmpty() || notices.first().text.contains(notice));
    QVERIFY(!world.platform.singleInstance().hasTraces());
}

void UninstallerTest::endsAnEarlierRun() {
    DriveWorld world;
    world.setMark(u"engine-left"_s);
    world.setMounted(true);
    world.makeDrive();
    Uninstaller uninstaller(*world.drive, world.setup);
    const auto done = started(uninstaller.run());
    QVERIFY(world.advanceUntil([&] { return done->isDone; }));
    QCOMPARE(*done->value, QString());
    QCOMPARE(world.takeCommandNames(), QStringList({u"find"_s, u"unmount"_s, u"kill"_s}));
    QVERIFY(!Paths::hasEngineConfig());
}

QTEST_GUILESS_MAIN(UninstallerTest)
#include "UninstallerTest.moc"
