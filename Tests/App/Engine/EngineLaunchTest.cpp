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
    void prepare();
    void secrets_data();
    void secrets();
};

void EngineLaunchTest::arguments() {
    const ScopedPlatform platform;
    platform.bundle().setInfoString(u"CFBundleShortVersionString"_s, u"3.1"_s);
    const QString library = platform.directories().library();
    EngineLaunch launch;
    launch.nfsPort = 2049;
    launch.remoteControlPort = 5572;
    launch.remoteControlUser = u"someone"_s;
    launch.remoteControlPassword = u"secret"_s;

    // One option a line; the names of the options hold no space, but some paths do.
    const QString lines = u"serve\nnfs\ndrive:Quillmount\n"
                          "--addr\n127.0.0.1:2049\n"
                          "--config\n%1/Application Support/Quillmount/engine.conf\n"
                          "--cache-dir\n%1/Caches/Quillmount\n"
                          "--vfs-cache-mode\nfull\n"
                          "--vfs-cache-max-size\n20000000000\n"
                          "--vfs-cache-max-age\n720h\n"
                          "--vfs-cache-min-free-space\n5G\n"
                          "--vfs-write-back\n5s\n"
                          "--vfs-read-ahead\n256M\n"
                          "--buffer-size\n64M\n"
                          "--dir-cache-time\n1000h\n"
                          "--poll-interval\n30s\n"
                          "--drive-chunk-size\n64M\n"
                          "--drive-acknowledge-abuse\n"
                          "--nfs-cache-type\ndisk\n"
                          "--user-agent\nQuillmount/3.1\n"
                          "--timeout\n30s\n"
                          "--contimeout\n15s\n"
                          "--low-level-retries\n10\n"
                          "--rc\n"
                          "--rc-addr\n127.0.0.1:5572\n"
                          "--log-file\n%1/Logs/Quillmount/engine.log\n"
                          "--log-level\nNOTICE"_s.arg(library);
    QCOMPARE(launch.arguments(), lines.split(u'\n'));
    QCOMPARE(launch.arguments().size(), 47);

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

void EngineLaunchTest::prepare() {
    const EngineLaunch launch = EngineLaunch::prepare();
    QVERIFY(launch.remoteControlPort != launch.nfsPort);
    QVERIFY(launch.remoteControlUser != launch.remoteControlPassword);
    for (const quint16 port : {launch.remoteControlPort, launch.nfsPort}) {
        QTcpServer server;
        QVERIFY2(server.listen(QHostAddress::LocalHost, port), "the port is not free");
    }
}

void EngineLaunchTest::secrets_data() {
    QTest::addColumn<int>("bytes");
    QTest::addColumn<int>("length");
    QTest::newRow("24") << 24 << 32;
    QTest::newRow("no whole word") << 5 << 7;
    QTest::newRow("none") << 0 << 0;
}

void EngineLaunchTest::secrets() {
    QFETCH(int, bytes);
    static const QRegularExpression alphabet(u"^[A-Za-z0-9_-]*$"_s);
    QSet<QString> seen;
    for (int draw = 0; draw < 200; ++draw) {
        const QString secret = Secrets::random(bytes);
        QTEST(int(secret.size()), "length");
        QVERIFY(alphabet.match(secret).hasMatch());
        seen.insert(secret);
    }
    QCOMPARE(seen.size(), bytes == 0 ? 1 : 200);
}

QTEST_GUILESS_MAIN(EngineLaunchTest)
#include "EngineLaunchTest.moc"
