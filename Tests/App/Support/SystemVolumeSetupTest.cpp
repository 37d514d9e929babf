// SPDX-License-Identifier: LicenseRef-Quillmount
#include "App/Support/SystemVolumeSetup.h"
#include "Location/LocationSetup.h"
#include "Platform/Testing/ScopedPlatform.h"
#include "Tests/Support/Started.h"
#include "Tests/Support/WaitFor.h"

#include <QSemaphore>
#include <QtTest>

#include <atomic>
#include <unistd.h>

using namespace quillmount;
using namespace std::chrono_literals;
using namespace Qt::StringLiterals;

using Result = VolumeSetup::Outcome;

class SystemVolumeSetupTest : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void whereItIsOffered_data();
    void whereItIsOffered();
    void asksForTheNameOnceAndOnlyWhenInstalled();
    void doesNotWaitForTheName();
    void completesOnlyWhatIsThere();
};

namespace {

// A machine with its daemon file, and a resolver that counts.
struct World {
    ScopedPlatform platform;
    QString file = platform.directories().home() + u"/daemon.plist"_s;
    std::shared_ptr<std::atomic<int>> lookUps = std::make_shared<std::atomic<int>>(0);
    std::shared_ptr<QSemaphore> answers = std::make_shared<QSemaphore>();
    SystemVolumeSetup setup{[lookUps = lookUps, answers = answers] {
                                ++*lookUps;
                                answers->acquire();
                                return true;
                            },
                            file};

    explicit World(const QString &way = u"on request"_s) { platform.bundle().setInfoString(u"QMLocationSetup"_s, way); }
    void install(unsigned uid) const {
        QFile daemon(file);
        const std::string text = LocationSetup::propertyList(LocationSetup::System::macOS, uid);
        if (!daemon.open(QIODevice::WriteOnly) || daemon.write(text.data(), qint64(text.size())) < 0)
            qFatal("the daemon file cannot be written");
    }
};

} // namespace

void SystemVolumeSetupTest::whereItIsOffered_data() {
    QTest::addColumn<QString>("way");
    QTest::addColumn<bool>("available");
    QTest::addColumn<bool>("atStart");
    QTest::newRow("a checkout") << QString() << false << false;
    QTest::newRow("a package") << u"on request"_s << true << false;
    QTest::newRow("where it does not hide the drive") << u"at start"_s << true << true;
}

void SystemVolumeSetupTest::whereItIsOffered() {
    QFETCH(QString, way);
    QFETCH(bool, available);
    World world(way);
    world.install(::getuid());
    QCOMPARE(world.setup.isAvailable(), available);
    QTEST(world.setup.offersAtStart(), "atStart");
    QCOMPARE(world.setup.isInstalled(), available);
    QCOMPARE(world.setup.isRemovable(), available);
    const auto run = started(world.setup.run());
    const auto removal = started(world.setup.remove());
    QCOMPARE(world.platform.authorization().isAsking(), available);
    world.platform.authorization().cancel();
    QCOMPARE(run->value, std::optional(available ? Result::declined : Result::notAsked));
}

void SystemVolumeSetupTest::asksForTheNameOnceAndOnlyWhenInstalled() {
    World world;
    QCOMPARE(started(world.setup.resolvesLocally())->value, std::optional(false));
    world.install(::getuid() + 1);
    QCOMPARE(started(world.setup.resolvesLocally())->value, std::optional(false));
    QVERIFY(!world.setup.isRemovable());
    QCOMPARE(world.lookUps->load(), 0);

    world.install(::getuid());
    world.answers->release();
    const auto first = started(world.setup.resolvesLocally());
    QVERIFY(waitFor([&] { return first->isDone; }));
    QCOMPARE(first->value, std::optional(true));
    QCOMPARE(started(world.setup.resolvesLocally())->value, std::optional(true));
    QCOMPARE(world.lookUps->load(), 1);
    QVERIFY(QFile::remove(world.file));
    QCOMPARE(started(world.setup.resolvesLocally())->value, std::optional(false));
    QCOMPARE(world.platform.clock().pending(), 0);
}

void SystemVolumeSetupTest::doesNotWaitForTheName() {
    World world;
    world.install(::getuid());
    const auto slow = started(world.setup.resolvesLocally());
    world.platform.clock().advance(999ms);
    QVERIFY(!slow->isDone);
    world.platform.clock().advance(1ms);
    QCOMPARE(slow->value, std::optional(false));
    // That was no answer, so it is asked again.
    world.answers->release(2);
    const auto again = started(world.setup.resolvesLocally());
    QVERIFY(waitFor([&] { return again->isDone; }));
    QCOMPARE(again->value, std::optional(true));
    // Both look-ups end here, and not with the program.
    QVERIFY(waitFor([&] { return world.answers->available() == 0 && world.platform.clock().pending() == 0; }));
    handleEvents();
}

void SystemVolumeSetupTest::completesOnlyWhatIsThere() {
    World world;
    const auto broken = started(world.setup.run());
    world.platform.authorization().answer(Result::completed);
    QCOMPARE(broken->value, std::optional(Result::failed));
    QCOMPARE(world.platform.sidebar().paths(), QStringList());

    const auto done = started(world.setup.run());
    world.install(::getuid());
    world.platform.authorization().answer(Result::completed);
    QCOMPARE(done->value, std::optional(Result::completed));
    QCOMPARE(world.platform.sidebar().paths(), QStringList(VolumeSetup::mountPoint()));
    world.setup.removeSidebarEntry();
    QCOMPARE(world.platform.sidebar().paths(), QStringList());
    QCOMPARE(world.platform.authorization().asked(), QList<Authorization::Verb>(2, Authorization::Verb::install));
}

QTEST_GUILESS_MAIN(SystemVolumeSetupTest)
#include "SystemVolumeSetupTest.moc"
