// SPDX-License-Identifier: LicenseRef-Quillmount
#include "App/Support/LoginItem.h"
#include "App/Support/Paths.h"
#include "App/Support/Preferences.h"
#include "Platform/Testing/ScopedPlatform.h"

#include <QtTest>

#include <limits>
#include <sys/stat.h>

using namespace quillmount;
using namespace Qt::StringLiterals;

// What the settings hold; absent for nothing.
struct Stored {
    std::optional<UserDefaults::Value> value;
};

// The locations and settings that the engine's code stands on.
class SupportTest : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void cacheSize_data();
    void cacheSize();
    void directoriesAreMadeWhereverPossible();
    void loginItemFailureIsOnlyLogged();
};

void SupportTest::cacheSize_data() {
    QTest::addColumn<Stored>("stored");
    QTest::addColumn<qint64>("gigabytes");
    QTest::addColumn<qint64>("bytes");

    constexpr qint64 standard = 20'000'000'000;
    QTest::newRow("absent") << Stored{} << qint64(20) << standard;
    QTest::newRow("integer") << Stored{qint64(50)} << qint64(50) << qint64(50'000'000'000);
    QTest::newRow("zero") << Stored{qint64(0)} << qint64(0) << qint64(0);
    QTest::newRow("negative") << Stored{qint64(-5)} << qint64(-5) << standard;
    QTest::newRow("string") << Stored{u"50"_s} << qint64(20) << standard;
    QTest::newRow("Boolean") << Stored{true} << qint64(20) << standard;
    QTest::newRow("just fits") << Stored{qint64(9'223'372'036)} << qint64(9'223'372'036)
                               << qint64(9'223'372'036'000'000'000);
    QTest::newRow("does not fit") << Stored{qint64(9'223'372'037)} << qint64(9'223'372'037) << standard;
    QTest::newRow("would wrap to a small one") << Stored{qint64(1) << 55} << (qint64(1) << 55) << standard;
}

void SupportTest::cacheSize() {
    QFETCH(Stored, stored);
    const ScopedPlatform platform;
    if (stored.value)
        platform.userDefaults().set(u"cacheSizeGB"_s, *stored.value);
    QTEST(Preferences::cacheSizeGB(), "gigabytes");
    QTEST(Preferences::cacheSizeBytes(), "bytes");
}

void SupportTest::directoriesAreMadeWhereverPossible() {
    const ScopedPlatform platform;
    QVERIFY(!Paths::engineBinary());
    // A file stands where the first directory belongs.
    QVERIFY(QDir().mkpath(platform.directories().applicationSupport()));
    QFile obstacle(platform.directories().applicationSupport() + u"/Quillmount"_s);
    QVERIFY(obstacle.open(QIODevice::WriteOnly));

    const QString cache = platform.directories().library() + u"/Caches/Quillmount"_s;
    const QString logs = platform.directories().library() + u"/Logs/Quillmount"_s;
    // One that an earlier version left open to all.
    QVERIFY(QDir().mkpath(logs) && QFile::setPermissions(logs, QFile::Permissions(0x7755)));
    const mode_t mask = umask(0);
    Paths::ensureDirectories();
    umask(mask);
    for (const QString &directory : {cache, logs}) {
        struct stat made = {};
        QCOMPARE(stat(QFile::encodeName(directory).constData(), &made), 0);
        QCOMPARE(made.st_mode, mode_t(S_IFDIR | 0700));
    }
    QVERIFY(!Paths::hasEngineConfig());

    QVERIFY(obstacle.remove());
    Paths::ensureDirectories();
    QVERIFY(QFileInfo(Paths::engineConfig()).dir().exists());
}

void SupportTest::loginItemFailureIsOnlyLogged() {
    const ScopedPlatform platform;
    LoginItem::set(true);
    QVERIFY(platform.loginItems().isEnabled());
    platform.loginItems().setFailure(u"not allowed"_s);
    QTest::ignoreMessage(QtWarningMsg, "Login item change failed: not allowed");
    LoginItem::set(false);
    QVERIFY(platform.loginItems().isEnabled());
}

QTEST_GUILESS_MAIN(SupportTest)
#include "SupportTest.moc"
