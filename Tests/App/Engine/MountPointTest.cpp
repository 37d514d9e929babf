// SPDX-License-Identifier: LicenseRef-Quillmount
#include "App/Engine/MountPoint.h"
#include "Platform/Testing/ScopedPlatform.h"

#include <QtTest>

#include <sys/stat.h>

using namespace quillmount;
using namespace Qt::StringLiterals;

class MountPointTest : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void prepare_data();
    void prepare();
    void kept_data();
    void kept();
    void severalInTheSameSecond();
    void whatCannotBeMovedStays();
};

namespace {

enum class Before { nothing, emptyFolder, ours, oursWithAFile, replaced, checkout, file, link, danglingLink };
enum class Outcome { usable, setAside, taken };

void makeFile(const QString &name) {
    QVERIFY(QFile(name).open(QIODevice::WriteOnly));
}

void make(Before what, const QString &path) {
    if (what == Before::ours || what == Before::oursWithAFile || what == Before::replaced) {
        QVERIFY(MountPoint::prepare(path).isUsable);
        // A program that root runs is not held by the mode; it stands for all that get in.
        QVERIFY(QFile::setPermissions(path, QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner));
    }
    if (what == Before::replaced)
        QVERIFY(QDir().rmdir(path));
    if (what == Before::emptyFolder || what == Before::checkout || what == Before::replaced)
        QVERIFY(QDir().mkpath(path));
    if (what == Before::oursWithAFile || what == Before::checkout || what == Before::replaced)
        makeFile(path + u"/.saved"_s);
    if (what == Before::file)
        makeFile(path);
    if (what == Before::link)
        QVERIFY(QDir().mkpath(path + u"-target"_s) && QFile::link(path + u"-target"_s, path));
    if (what == Before::danglingLink)
        QVERIFY(QFile::link(path + u"-missing"_s, path));
}

// Kind, mode and place in the folder, of the entry itself and of everything beside it.
QStringList lookOf(const QString &folder) {
    QStringList look;
    QDirIterator entries(folder, QDir::AllEntries | QDir::Hidden | QDir::System | QDir::NoDotAndDotDot,
                         QDirIterator::Subdirectories);
    while (entries.hasNext()) {
        const QString path = entries.next();
        struct stat found = {};
        ::lstat(QFile::encodeName(path).constData(), &found);
        look.append(u"%1 %2"_s.arg(path, QString::number(found.st_mode, 8)));
    }
    look.sort();
    return look;
}

} // namespace

void MountPointTest::prepare_data() {
    QTest::addColumn<Before>("before");
    QTest::addColumn<Outcome>("outcome");
    QTest::newRow("nothing") << Before::nothing << Outcome::usable;
    QTest::newRow("an empty folder") << Before::emptyFolder << Outcome::usable;
    QTest::newRow("our own of last time") << Before::ours << Outcome::usable;
    QTest::newRow("a file saved into ours") << Before::oursWithAFile << Outcome::setAside;
    QTest::newRow("the user's folder") << Before::checkout << Outcome::taken;
    QTest::newRow("the user's in the place of ours") << Before::replaced << Outcome::taken;
    QTest::newRow("a file") << Before::file << Outcome::taken;
    QTest::newRow("a link to a folder") << Before::link << Outcome::taken;
    QTest::newRow("a link to nothing") << Before::danglingLink << Outcome::taken;
}

void MountPointTest::prepare() {
    QFETCH(Before, before);
    QFETCH(Outcome, outcome);
    const ScopedPlatform platform;
    const QString home = platform.directories().home();
    const QString path = home + u"/Quillmount"_s;
    make(before, path);

    const QStringList look = lookOf(home);
    QCOMPARE(MountPoint::isTaken(path), outcome == Outcome::taken);
    QCOMPARE(lookOf(home), look);
    const MountPoint::Preparation prepared = MountPoint::prepare(path);
    QCOMPARE(prepared.isUsable, outcome != Outcome::taken);
    QCOMPARE(prepared.setAside.has_value(), outcome == Outcome::setAside);
    if (outcome == Outcome::taken) {
        QCOMPARE(lookOf(home), look);
        return;
    }
    const QFileInfo info(path);
    QVERIFY(info.isDir() && !info.isSymLink() && QDir(path).isEmpty());
    QCOMPARE(info.permissions() & QFile::Permissions(0x7077), QFile::ReadOwner | QFile::ExeOwner);
    if (outcome == Outcome::setAside) {
        QVERIFY(prepared.setAside->startsWith(path + u" - "_s));
        QVERIFY(QFileInfo::exists(*prepared.setAside + u"/.saved"_s));
        QVERIFY(QFileInfo(*prepared.setAside).permission(QFile::WriteOwner)); // the user is to clear it up
    }
}

void MountPointTest::kept_data() {
    QTest::addColumn<bool>("isOtherDisk");
    QTest::newRow("on the disk of the home") << false;
    QTest::newRow("on another") << true;
}

// What is in a folder that cannot be moved is moved out of it.
void MountPointTest::kept() {
    QFETCH(bool, isOtherDisk);
    const ScopedPlatform platform;
    const QString home = platform.directories().home() + u"/Quillmount"_s;
    const QTemporaryDir folder((isOtherDisk ? u"/dev/shm"_s : platform.directories().home()) + u"/keptXXXXXX"_s);
    const QString path = folder.path();
    const auto isUsable = [&] {
        return (QFileInfo(path).permissions() & QFile::Permissions(0x7000)) == (QFile::ReadOwner | QFile::ExeOwner) &&
               QDir(path).isEmpty();
    };
    QVERIFY(MountPoint::prepareKept(path, home).isUsable && isUsable());

    QVERIFY(QFile::setPermissions(path, QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner));
    QVERIFY(QDir().mkpath(path + u"/folder/inner"_s));
    makeFile(path + u"/folder/inner/letter"_s);
    makeFile(path + u"/.hidden"_s);
    QVERIFY(QFile::link(u"/nowhere"_s, path + u"/link"_s));
    const QDateTime written(QDate(2001, 2, 3), QTime(4, 5, 6));
    QFile letter(path + u"/folder/inner/letter"_s);
    QVERIFY(letter.open(QIODevice::Append) && letter.setFileTime(written, QFileDevice::FileModificationTime));
    letter.close();
    const MountPoint::Preparation prepared = MountPoint::prepareKept(path, home);
    QVERIFY(prepared.isUsable && prepared.setAside && isUsable());
    QVERIFY(prepared.setAside->startsWith(home + u" - "_s));
    QCOMPARE(QFileInfo(*prepared.setAside + u"/folder/inner/letter"_s).lastModified(), written);
    QVERIFY(QFileInfo::exists(*prepared.setAside + u"/.hidden"_s));
    QCOMPARE(QFileInfo(*prepared.setAside + u"/link"_s).symLinkTarget(), u"/nowhere"_s);

    // What cannot be copied stays, and nothing is mounted on it.
    if (isOtherDisk) {
        QVERIFY(QFile::setPermissions(path, QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner));
        QCOMPARE(::mkfifo(QFile::encodeName(path + u"/pipe"_s).constData(), 0600), 0);
        QVERIFY(!MountPoint::prepareKept(path, home).isUsable);
        QVERIFY(QFileInfo::exists(path + u"/pipe"_s));
    }
    QVERIFY(QFile::link(path, path + u"-link"_s));
    QVERIFY(!MountPoint::prepareKept(path + u"-link"_s, home).isUsable);
    QVERIFY(QFile::remove(path + u"-link"_s));
    QVERIFY(QFile::setPermissions(path, QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner));
}

void MountPointTest::severalInTheSameSecond() {
    const ScopedPlatform platform;
    const QString path = platform.directories().home() + u"/Quillmount"_s;
    QSet<QString> kept;
    for (int round = 0; round < 3; ++round) {
        make(Before::oursWithAFile, path);
        const auto aside = MountPoint::prepare(path).setAside;
        QVERIFY(aside && QFileInfo::exists(*aside + u"/.saved"_s));
        kept.insert(*aside);
    }
    QCOMPARE(kept.size(), 3);
}

void MountPointTest::whatCannotBeMovedStays() {
    const ScopedPlatform platform;
    // A name beside it would be too long.
    const QString path = platform.directories().home() + u'/' + QString(240, u'x');
    make(Before::oursWithAFile, path);
    const QStringList look = lookOf(platform.directories().home());
    QVERIFY(!MountPoint::prepare(path).isUsable);
    QCOMPARE(lookOf(platform.directories().home()), look);
}

QTEST_GUILESS_MAIN(MountPointTest)
#include "MountPointTest.moc"
