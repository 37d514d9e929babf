// SPDX-License-Identifier: LicenseRef-Quillmount
#include "App/Engine/MountPoint.h"
#include "Platform/Testing/ScopedPlatform.h"

#include <QtTest>

using namespace quillmount;
using namespace Qt::StringLiterals;

class MountPointTest : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void prepare_data();
    void prepare();
    void severalInTheSameSecond();
};

namespace {

enum class Before { nothing, emptyDirectory, readOnlyDirectory, hiddenFile, file, link, danglingLink };

void make(Before what, const QString &path) {
    const auto makeFile = [](const QString &name) { return QFile(name).open(QIODevice::WriteOnly); };
    bool made = true;
    if (what == Before::emptyDirectory || what == Before::readOnlyDirectory || what == Before::hiddenFile)
        made = QDir().mkpath(path);
    if (what == Before::hiddenFile)
        made = makeFile(path + u"/.saved"_s);
    if (what == Before::readOnlyDirectory || what == Before::hiddenFile)
        made = made && QFile::setPermissions(path, QFile::ReadOwner | QFile::ExeOwner);
    if (what == Before::file)
        made = makeFile(path);
    if (what == Before::link)
        made = QDir().mkpath(path + u"-target"_s) && QFile::link(path + u"-target"_s, path);
    if (what == Before::danglingLink)
        made = QFile::link(path + u"-missing"_s, path);
    QVERIFY(made);
}

} // namespace

void MountPointTest::prepare_data() {
    QTest::addColumn<Before>("before");
    QTest::addColumn<bool>("setsAside");
    QTest::newRow("nothing") << Before::nothing << false;
    QTest::newRow("an empty directory") << Before::emptyDirectory << false;
    QTest::newRow("our own of last time") << Before::readOnlyDirectory << false;
    QTest::newRow("a hidden file in it") << Before::hiddenFile << true;
    QTest::newRow("a file") << Before::file << true;
    QTest::newRow("a link to a directory") << Before::link << true;
    QTest::newRow("a link to nothing") << Before::danglingLink << true;
}

void MountPointTest::prepare() {
    QFETCH(Before, before);
    QFETCH(bool, setsAside);
    const ScopedPlatform platform;
    const QString path = platform.directories().home() + u"/deeper/Quillmount"_s;
    QVERIFY(QDir().mkpath(QFileInfo(path).path()));
    make(before, path);

    const auto aside = MountPoint::prepare(path);
    QCOMPARE(aside.has_value(), setsAside);
    const QFileInfo info(path);
    QVERIFY(info.isDir() && !info.isSymLink() && QDir(path).isEmpty());
    QCOMPARE(info.permissions() & QFile::Permissions(0x7077), QFile::ReadOwner | QFile::ExeOwner);
    if (!aside)
        return;
    QVERIFY(aside->startsWith(path + u" - "_s));
    const QFileInfo kept(*aside);
    QVERIFY(kept.exists() || kept.isSymLink());
    QCOMPARE(kept.isSymLink(), before == Before::link || before == Before::danglingLink);
    if (before == Before::hiddenFile) {
        QVERIFY(QFileInfo::exists(*aside + u"/.saved"_s));
        QVERIFY(kept.permission(QFile::WriteOwner)); // the person is to clear it up
    }
}

void MountPointTest::severalInTheSameSecond() {
    const ScopedPlatform platform;
    const QString path = platform.directories().home() + u"/Quillmount"_s;
    QSet<QString> kept;
    for (int round = 0; round < 3; ++round) {
        QVERIFY(QDir().mkpath(path));
        QFile::setPermissions(path, QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner);
        make(Before::hiddenFile, path);
        const auto aside = MountPoint::prepare(path);
        QVERIFY(aside && QFileInfo::exists(*aside + u"/.saved"_s));
        kept.insert(*aside);
    }
    QCOMPARE(kept.size(), 3);
}

QTEST_GUILESS_MAIN(MountPointTest)
#include "MountPointTest.moc"
