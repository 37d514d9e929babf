// SPDX-License-Identifier: LicenseRef-Quillmount
// The drive at its own place on the machine: set up, used, and removed again, all for real.
#include "App/Support/SystemVolumeSetup.h"
#include "MountList/MountList.h"
#include "Tests/EndToEnd/Application.h"
#include "Tests/EndToEnd/DriveInHome.h"
#include "Tests/EndToEnd/TestHome.h"
#include "Tests/Support/Started.h"

#include <QDir>
#include <QFile>
#include <QTest>

#include <csignal>
#include <unistd.h>

using namespace quillmount;
using namespace Qt::StringLiterals;

using Result = VolumeSetup::Outcome;

namespace {

const QString point = u"/Volumes/Quillmount"_s;

QByteArray contents(const QString &path) {
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

bool write(const QString &path, const QByteArray &text) {
    QFile file(path);
    return file.open(QIODevice::WriteOnly) && file.write(text) == text.size();
}

std::vector<MountRecord> mounts() {
    return mountsAt(std::string_view("/Volumes/Quillmount"));
}

} // namespace

class LocationTest : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void setUpUsedAndRemoved();
};

void LocationTest::setUpUsedAndRemoved() {
    TestHome home;
    const QString bookmarks = home.path() + u"/.config/gtk-3.0/bookmarks"_s;
    {
        SystemVolumeSetup setup;
        DriveInHome drive(home, DriveInHome::real, &setup);
        DriveEngine &engine = drive.engine();
        QVERIFY(drive.goLive());
        QCOMPARE(engine.mountPoint(), home.mountPoint());

        const auto done = started(engine.setUpFinderLocation());
        QVERIFY(QTest::qWaitFor([&] { return done->isDone; }, 30'000));
        QCOMPARE(done->value, std::optional(Result::completed));
        QVERIFY(drive.comesTo(DriveState::live));
        QCOMPARE(engine.mountPoint(), point);
        QCOMPARE(mounts().size(), 1U);
        QVERIFY(mounts().front().source.starts_with("Quillmount:/"));
        QVERIFY(!QFileInfo::exists(home.mountPoint()));
        QCOMPARE(contents(bookmarks), "file:///Volumes/Quillmount Quillmount\n"_ba);

        QVERIFY(TestHome::within([] { return write(point + u"/letter"_s, "dear"); }));
        QTRY_COMPARE_WITH_TIMEOUT(home.onGoogle(u"letter"_s), std::optional("dear"_ba), 20'000);
    }
    QVERIFY(mounts().empty());
    // Only a program of root's gets in now; the next start moves it away.
    QVERIFY(write(point + u"/late"_s, "late"));

    {
        Application application(home);
        application.start();
        QVERIFY(application.comesTo(u"live"_s));
        QCOMPARE(mounts().size(), 1U);
        const QStringList aside = QDir(home.path()).entryList({u"Quillmount - *"_s}, QDir::Dirs);
        QCOMPARE(aside.size(), 1);
        QCOMPARE(contents(home.path() + u'/' + aside.first() + u"/late"_s), "late"_ba);
        application.signal(SIGTERM);
        QCOMPARE(application.end(), 0);
    }
    QTRY_VERIFY(home.isQuiet() && mounts().empty());

    // The drive of another home of this user is not ours to take away.
    {
        TestHome other;
        Application theirs(other);
        QVERIFY(theirs.goLive());
        QCOMPARE(mounts().size(), 1U);
        Application ours(home);
        ours.start();
        QVERIFY(ours.comesTo(u"failed(mountRefused)"_s));
        ours.signal(SIGTERM);
        QCOMPARE(ours.end(), 0);
        QCOMPARE(mounts().size(), 1U);
        QVERIFY(
            TestHome::within([] { return contents(point + u"/letter"_s).isEmpty() && write(point + u"/x"_s, "x"); }));
        theirs.signal(SIGTERM);
        QCOMPARE(theirs.end(), 0);
    }

    home.exportEnvironment();
    SystemVolumeSetup setup;
    DriveInHome drive(home, DriveInHome::real, &setup);
    QVERIFY(setup.isInstalled() && setup.isRemovable());
    const auto removed = started(setup.remove());
    QVERIFY(QTest::qWaitFor([&] { return removed->isDone; }));
    QCOMPARE(removed->value, std::optional(Result::completed));
    setup.removeSidebarEntry();
    QCOMPARE(contents(bookmarks), QByteArray());
    QVERIFY(!setup.isInstalled() && !setup.isRemovable() && !QFileInfo::exists(point));
    drive.engine().start();
    QVERIFY(drive.comesTo(DriveState::live));
    QCOMPARE(drive.engine().mountPoint(), home.mountPoint());
}

QTEST_MAIN(LocationTest)
#include "LocationTest.moc"
