// SPDX-License-Identifier: LicenseRef-Quillmount
#include "App/Engine/EngineLaunch.h"
#include "App/Support/Secrets.h"
#include "Platform/Testing/ScopedPlatform.h"

#include <QTcpServer>
#include <QtTest>

using namespace quillmount;
using namespace Qt::StringLiterals;

class EngineLaunchTest : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void arguments();
    void environment();
    void secrets();
};

void EngineLaunchTest::arguments() {
    const ScopedPlatform platform;
    platform.bundle().setInfoString(u"CFBundleShortVersionString"_s, u"3.1"_s);
    EngineLaunch launch;
    launch.nfsPort = 2049;
    launch.remoteControlPort = 5572;
    launch.remoteControlUser = u"someone"_s;
    launch.remoteControlPassword = u"secret"_s;

    QString lines = launch.arguments().join(u'\n');
    lines.replace(platform.directories().library(), u"LIBRARY"_s);
    QCOMPARE(launch.arguments().size(), 47);
    // The pending uploads lie in a cache folder whose name depends on the arguments, so none may change.
    QCOMPARE(QCryptographicHash::hash(lines.toUtf8(), QCryptographicHash::Sha256).toHex(),
             "5278e328b1a7c30b8c010b4791d6dd75e06c8b2c9ff3c8fb12681842bb41fa61"_ba);

    platform.userDefaults().set(u"cacheSizeGB"_s, qint64(7));
    QCOMPARE(launch.arguments().at(12), u"7000000000"_s);
}

void EngineLaunchTest::environment() {
    const ScopedPlatform platform;
    QProcessEnvironment inherited;
    inherited.insert(u"PATH"_s, u"/bin"_s);
    inherited.insert(u"HTTPS_PROXY"_s, u"http://127.0.0.1:9"_s);
    inherited.insert(u"XRCLONE_CONFIG"_s, u"kept"_s);
    inherited.insert(u"rclone_config"_s, u"kept too"_s);
    inherited.insert(u"RCLONE_CONFIG"_s, u"/elsewhere"_s);
    inherited.insert(u"RCLONE_RC_PASS"_s, u"guessed"_s);
    inherited.insert(u"RCLONE_VFS_WRITE_BACK"_s, u"1h"_s);
    inherited.insert(u"QUILLMOUNT_ENGINE_HTTPS_PROXY"_s, u"http://127.0.0.1:8"_s);
    inherited.insert(u"QUILLMOUNT_ENGINE_NO_PROXY"_s, QString());
    inherited.insert(u"QUILLMOUNT_ENGINE_RCLONE_RC_ADDR"_s, u"0.0.0.0:1"_s);
    EngineLaunch launch;
    launch.remoteControlUser = u"someone"_s;
    launch.remoteControlPassword = u"secret"_s;

    QStringList variables = launch.environment(inherited).toStringList();
    variables.sort();
    const QString configuration = platform.directories().applicationSupport() + u"/Quillmount/engine.conf"_s;
    QCOMPARE(variables,
             QStringList({u"HTTPS_PROXY=http://127.0.0.1:8"_s, u"NO_PROXY="_s, u"PATH=/bin"_s,
                          u"QUILLMOUNT_RECOVERY_DIRECTORY="_s + platform.directories().home(),
                          u"RCLONE_CONFIG="_s + configuration, u"RCLONE_RC_PASS=secret"_s, u"RCLONE_RC_USER=someone"_s,
                          u"XRCLONE_CONFIG=kept"_s, u"rclone_config=kept too"_s}));
}

void EngineLaunchTest::secrets() {
    static const QRegularExpression alphabet(u"^[A-Za-z0-9_-]{32}$"_s);
    QSet<QString> seen;
    for (int draw = 0; draw < 200; ++draw) {
        const QString secret = Secrets::random(24);
        QVERIFY2(alphabet.match(secret).hasMatch(), qPrintable(secret));
        seen.insert(secret);
    }
    QCOMPARE(seen.size(), 200);
    QCOMPARE(Secrets::random(5).size(), 7); // no whole word of the generator
}

QTEST_GUILESS_MAIN(EngineLaunchTest)
#include "EngineLaunchTest.moc"
