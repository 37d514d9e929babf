// SPDX-License-Identifier: LicenseRef-Quillmount
// Where the account's secrets can be seen, and a start that has no place for its state.
#include "Tests/EndToEnd/Application.h"
#include "Tests/EndToEnd/TestHome.h"

#include <QFile>
#include <QTest>

#include <algorithm>
#include <sys/resource.h>

using namespace quillmount;
using namespace Qt::StringLiterals;

class LaunchTest : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void secretsStayHidden();
    void noPlaceForItsState();
};

void LaunchTest::secretsStayHidden() {
    TestHome home;
    Application application(home);
    const QJsonObject token = home.newToken();
    home.addAccount(token);
    QByteArrayList secrets{home.clientSecret().toUtf8(), token["refresh_token"_L1].toString().toUtf8(),
                           token["access_token"_L1].toString().toUtf8()};
    application.start();

    // Looked at all the time, since the commands that start and mount the drive come and go.
    QByteArray seen;
    constexpr auto ownerOnly = QFile::ReadOwner | QFile::WriteOwner | QFile::ReadUser | QFile::WriteUser;
    bool configurationWasRight = true;
    const auto look = [&] {
        const QList<ProcessInfo> processes = home.processes();
        for (const ProcessInfo &process : processes)
            seen += process.description() + '\n';
        QFile configuration(home.engineConfiguration());
        if (configuration.open(QIODevice::ReadOnly)) {
            const QByteArray text = configuration.readAll();
            configurationWasRight = configurationWasRight && configuration.permissions() == ownerOnly &&
                                    text.startsWith("[drive]\n") && text.contains(secrets[1]) && text.endsWith('\n');
        }
        return application.state() == u"live"_s;
    };
    QTRY_VERIFY_WITH_TIMEOUT(look(), 20'000);
    QVERIFY(configurationWasRight);
    // No core file, and with the hard limit of before: the browser is to get its own back.
    QFile limits(u"/proc/%1/limits"_s.arg(home.application()));
    QVERIFY(limits.open(QIODevice::ReadOnly));
    const QByteArray text = limits.readAll();
    const QByteArrayList core =
        text.mid(text.indexOf("Max core file size")).split('\n').first().simplified().split(' ');
    rlimit own = {};
    ::getrlimit(RLIMIT_CORE, &own);
    const QByteArray hard = own.rlim_max == RLIM_INFINITY ? "unlimited" : QByteArray::number(quint64(own.rlim_max));
    QCOMPARE(core.mid(4, 2), QByteArrayList({own.rlim_max == 0 ? "0" : "1", hard}));
    const QList<ProcessInfo> processes = home.processes();
    const auto engine = std::ranges::find(processes, "QuillmountEngine", &ProcessInfo::program);
    QVERIFY(engine != processes.end());
    secrets += {engine->environment.value("RCLONE_RC_PASS"), engine->environment.value("RCLONE_RC_USER")};

    QVERIFY(home.save(u"file"_s, "contents"));
    QTRY_VERIFY_WITH_TIMEOUT(look() && home.onGoogle(u"file"_s), 20'000);
    QFile engineLog(home.engineLog());
    QVERIFY(engineLog.open(QIODevice::ReadOnly));
    seen += engineLog.readAll() + application.output() + application.log();
    QVERIFY(seen.contains("QuillmountEngine") && seen.contains("quillmount-mount") && seen.contains("-> live"));
    for (const QByteArray &secret : std::as_const(secrets)) {
        QVERIFY(secret.size() > 8);
        QVERIFY(!seen.contains(secret));
    }
}

void LaunchTest::noPlaceForItsState() {
    TestHome home;
    Application application(home);
    application.environment.insert(u"XDG_STATE_HOME"_s, u"/dev/null"_s);
    application.start();
    QCOMPARE(application.end(), 1);
    QCOMPARE(application.output(), QByteArray());
    QVERIFY(application.log().contains("Quillmount cannot start: /dev/null/Quillmount/instance.lock cannot be opened"));
}

QTEST_GUILESS_MAIN(LaunchTest)
#include "LaunchTest.moc"
