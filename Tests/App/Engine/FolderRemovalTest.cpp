// SPDX-License-Identifier: LicenseRef-Quillmount
#include "App/Engine/FolderRemoval.h"
#include "Tests/Support/Machine.h"
#include "Tests/Support/Started.h"
#include "Tests/Support/WaitFor.h"

#include <QDir>
#include <QElapsedTimer>
#include <QFile>
#include <QTemporaryDir>
#include <QTimer>
#include <QtTest>

#include <algorithm>
#include <sched.h>
#include <sys/mount.h>

using namespace quillmount;
using namespace Qt::StringLiterals;

namespace {

void makeFile(const QString &path) {
    QVERIFY(QDir().mkpath(QFileInfo(path).path()) && QFile(path).open(QIODevice::WriteOnly));
}

QStringList entriesOf(const QString &folder) {
    return QDir(folder).entryList(QDir::AllEntries | QDir::Hidden | QDir::NoDotAndDotDot);
}

} // namespace

class FolderRemovalTest : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void leavesWhatIsElsewhere();
    void emptiesAFolderThatIsALink();
    void interrupted();
    void keepsTheEventLoopRunning();
};

void FolderRemovalTest::leavesWhatIsElsewhere() {
    const QTemporaryDir root;
    const QString folder = root.filePath(u"Quillmount"_s);
    const QString mounted = folder + u"/deep/mounted"_s;
    makeFile(root.filePath(u"elsewhere/file"_s));
    makeFile(folder + u"/deep/file"_s);
    QVERIFY(QFile::link(root.filePath(u"elsewhere"_s), folder + u"/link"_s));
    QVERIFY(QDir().mkpath(mounted));
    const QString missing = Machine::lacksMountNamespaces();
    QVERIFY2(missing.isEmpty(), qPrintable(missing));
    // Seen by this thread alone, and those that it starts.
    QVERIFY2(::unshare(CLONE_NEWNS) == 0, "this test has to be run as root");
    QVERIFY(::mount(nullptr, "/", nullptr, MS_REC | MS_PRIVATE, nullptr) == 0);
    const QByteArray source = QFile::encodeName(root.filePath(u"elsewhere"_s));
    QVERIFY(::mount(source.constData(), QFile::encodeName(mounted).constData(), nullptr, MS_BIND, nullptr) == 0);

    const auto aside = FolderRemoval::setAside(folder);
    QVERIFY(aside.isComplete && !QFileInfo::exists(folder));
    const auto done = started(FolderRemoval::deleteAll(aside.toDelete));
    QVERIFY(waitFor([&] { return done->isDone; }));
    QVERIFY(*done->value > 0);
    const QString left = aside.toDelete.first() + u"/deep/mounted"_s;
    QCOMPARE(entriesOf(left), QStringList(u"file"_s));
    QCOMPARE(entriesOf(aside.toDelete.first()), QStringList(u"deep"_s));
    QVERIFY(::umount2(QFile::encodeName(left).constData(), MNT_DETACH) == 0);
    QCOMPARE(entriesOf(root.filePath(u"elsewhere"_s)), QStringList(u"file"_s));
}

void FolderRemovalTest::emptiesAFolderThatIsALink() {
    const QTemporaryDir root;
    makeFile(root.filePath(u"disk/vfs/file"_s));
    const QString folder = root.filePath(u"Quillmount"_s);
    QVERIFY(QFile::link(root.filePath(u"disk"_s), folder));
    const auto aside = FolderRemoval::setAside(folder);
    QVERIFY(aside.isComplete && !QFileInfo::exists(folder + u"/vfs"_s));
    const auto done = started(FolderRemoval::deleteAll(FolderRemoval::leftOf({folder})));
    QVERIFY(waitFor([&] { return done->isDone; }));
    QCOMPARE(entriesOf(folder), QStringList());
    QVERIFY(QFileInfo(folder).isSymLink());
}

void FolderRemovalTest::interrupted() {
    const QTemporaryDir root;
    const QString folder = root.filePath(u"Quillmount"_s);
    makeFile(folder + u"/vfs/file"_s);
    makeFile(root.filePath(u"Quillmount.removed-by-me/file"_s));
    makeFile(root.filePath(u"Other/file"_s));
    const QStringList aside = FolderRemoval::setAside(folder).toDelete;
    makeFile(folder + u"/new"_s);
    // What a later start finds of a run that ended here.
    QCOMPARE(FolderRemoval::leftOf({folder}), aside);
}

void FolderRemovalTest::keepsTheEventLoopRunning() {
    constexpr int files = 50'000;
    const QTemporaryDir root;
    const QString folder = root.filePath(u"Quillmount"_s);
    for (int i = 0; i < files; ++i) {
        if (i % 500 == 0)
            QVERIFY(QDir().mkpath(folder + u"/%1"_s.arg(i / 500)));
        QVERIFY(QFile(folder + u"/%1/%2"_s.arg(i / 500).arg(i)).open(QIODevice::WriteOnly));
    }
    QElapsedTimer clock;
    clock.start();
    qint64 last = 0;
    qint64 maxGap = 0;
    QTimer frames;
    QObject::connect(&frames, &QTimer::timeout, &frames,
                     [&] { maxGap = std::max(maxGap, clock.elapsed() - std::exchange(last, clock.elapsed())); });
    frames.start(1);
    const auto done = started(FolderRemoval::deleteAll(FolderRemoval::setAside(folder).toDelete));
    QVERIFY(waitFor([&] { return done->isDone; }, std::chrono::minutes(1)));
    const qint64 total = clock.elapsed();
    qInfo("%d files in %lld ms; the event loop was never away for more than %lld ms", files, total, maxGap);
    QCOMPARE(*done->value, 0);
    QCOMPARE(entriesOf(root.path()), QStringList());
    QVERIFY(maxGap < total / 2);
}

QTEST_GUILESS_MAIN(FolderRemovalTest)
#include "FolderRemovalTest.moc"
