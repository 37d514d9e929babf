// SPDX-License-Identifier: LicenseRef-Quillmount
// Quillmount removed from a home with the real drive in it: what is left there, and on Google.
#include "App/Engine/PendingFiles.h"
#include "App/Support/LoginItem.h"
#include "App/Support/Paths.h"
#include "App/Support/Preferences.h"
#include "App/Uninstall/Uninstaller.h"
#include "Platform/Platform.h"
#include "Tests/EndToEnd/DriveInHome.h"
#include "Tests/EndToEnd/TestHome.h"
#include "Tests/Support/Started.h"
#include "Tests/Support/TestFiles.h"

#include <QDir>
#include <QDirIterator>
#include <QSignalSpy>
#include <QTest>

using namespace quillmount;
using namespace Qt::StringLiterals;

namespace {

// Files, links and empty folders, relative to the folder.
QStringList treeOf(const QString &folder) {
    QStringList paths;
    QDirIterator entries(folder, QDir::AllEntries | QDir::Hidden | QDir::System | QDir::NoDotAndDotDot,
                         QDirIterator::Subdirectories);
    while (entries.hasNext()) {
        const QString path = entries.next();
        if (!entries.fileInfo().isDir() || QDir(path).isEmpty(QDir::AllEntries | QDir::Hidden | QDir::NoDotAndDotDot))
            paths.append(path.mid(folder.size() + 1));
    }
    paths.sort();
    return paths;
}

} // namespace

class UninstallTest : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void leavesOnlyWhatIsNotItsOwn();
};

void UninstallTest::leavesOnlyWhatIsNotItsOwn() {
    TestHome home;
    DriveInHome drive(home);
    QCOMPARE(Platform::current().singleInstance->acquire(), SingleInstance::Outcome::acquired);
    LoginItem::set(true);
    Preferences::setAccountEmail(u"someone@example.com"_s);
    QVERIFY(drive.goLive());
    const QByteArray contents = someBytes(100'001, 1);
    QVERIFY(home.save(u"uploaded.bin"_s, contents));
    QTRY_COMPARE_WITH_TIMEOUT(home.onGoogle(u"uploaded.bin"_s), contents, 20'000);

    // What was told by the statistics alone would be nothing here.
    const int stalled = home.stallUploads();
    for (int i = 0; i < 5; ++i)
        QVERIFY(home.save(u"pending %1.bin"_s.arg(i), contents));
    QTRY_VERIFY_WITH_TIMEOUT(home.hits(stalled) > 0, 20'000);
    spawn(drive.engine().eject(true));
    QVERIFY(drive.comesTo(DriveState::stopped));
    QCOMPARE(drive.engine().stats().pendingUploads(), 0);
    const auto pending = started(PendingFiles::count());
    QTRY_VERIFY(pending->isDone);
    QCOMPARE(*pending->value, 5);

    home.google.clearFault(stalled);
    drive.engine().start();
    QVERIFY(drive.comesTo(DriveState::live));
    const QStringList others{u".cache/Quillmountain/file"_s, u".config/autostart/other.desktop"_s,
                             u".local/state/Quillmount/run.lock"_s,
                             u"Quillmount - saved while the drive was away 2026-01-15 12.00.00/file"_s};
    for (const QString &path : others)
        putFile(home.path() + u'/' + path, "x");
    putFile(home.path() + u"/.config/Quillmount/defaults.json.damaged-20260115T120000.000Z"_s, "{");
    const QStringList files = treeOf(home.google.filesRoot());

    NoVolumeSetup setup;
    Uninstaller uninstaller(drive.engine(), setup);
    QSignalSpy finished(&uninstaller, &Uninstaller::finished);
    const auto done = started(uninstaller.run());
    QTRY_VERIFY_WITH_TIMEOUT(done->isDone, 40'000);
    QCOMPARE(*done->value, QString());
    QCOMPARE(finished.count(), 1);
    QVERIFY(home.isQuiet());
    // Folders that others may use stay, also when they are empty.
    QStringList left = others + QStringList(u".local/share"_s);
    left.sort();
    QCOMPARE(treeOf(home.path()), left);
    QCOMPARE(home.onGoogle(u"uploaded.bin"_s), contents);
    QCOMPARE(home.google.count(u"files.delete"_s), 0);
    const QStringList filesLater = treeOf(home.google.filesRoot());
    for (const QString &file : files)
        QVERIFY2(filesLater.contains(file), qPrintable(file));
}

QTEST_MAIN(UninstallTest)
#include "UninstallTest.moc"
