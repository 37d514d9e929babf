// SPDX-License-Identifier: LicenseRef-Quillmount
// How the engine is started, as the kernel sees it, and where the account's secrets can be seen.
#include "Tests/EndToEnd/Application.h"
#include "Tests/EndToEnd/TestHome.h"

#include <QFile>
#include <QFileInfo>
#include <QTest>

#include <sys/resource.h>

using namespace quillmount;
using namespace Qt::StringLiterals;

class LaunchTest : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void init();
    void cleanup();
    void environmentIsInheritedExceptTheEnginesOwn();
    void secretsStayHidden();
    void noPlaceForItsState();

private:
    [[nodiscard]] ProcessInfo engine() const;

    std::unique_ptr<TestHome> m_home;
    std::unique_ptr<Application> m_application;
};

void LaunchTest::init() {
    m_home = std::make_unique<TestHome>();
    m_application = std::make_unique<Application>(*m_home);
}

void LaunchTest::cleanup() {
    m_application.reset();
    m_home.reset();
}

ProcessInfo LaunchTest::engine() const {
    const QList<ProcessInfo> processes = m_home->processes();
    for (const ProcessInfo &process : processes)
        if (process.program() == "QuillmountEngine")
            return process;
    return {};
}

void LaunchTest::environmentIsInheritedExceptTheEnginesOwn() {
    m_application->environment.insert(u"SOMETHING"_s, u"else"_s);
    QMap<QByteArray, QByteArray> expected;
    const QStringList names = m_application->environment.keys();
    for (const QString &name : names)
        expected.insert(name.toLocal8Bit(), m_application->environment.value(name).toLocal8Bit());
    // There is no bus in the test's home, and the application starts none.
    expected.insert("DBUS_SESSION_BUS_ADDRESS", "disabled:");
    // Each of these would change what the engine does.
    m_application->environment.insert(u"RCLONE_VFS_CACHE_MODE"_s, u"off"_s);
    m_application->environment.insert(u"RCLONE_DRIVE_TRASHED_ONLY"_s, u"true"_s);
    m_application->environment.insert(u"RCLONE_RC_USER"_s, u"somebody"_s);
    m_application->environment.insert(u"RCLONE_CONFIG"_s, u"/nowhere"_s);
    m_application->environment.insert(u"QUILLMOUNT_ENGINE_RCLONE_CACHE_DIR"_s, u"/nowhere"_s);
    QVERIFY(m_application->goLive());

    QMap<QByteArray, QByteArray> environment = engine().environment;
    expected.insert("QUILLMOUNT_RECOVERY_DIRECTORY", m_home->path().toUtf8());
    expected.insert("RCLONE_CONFIG", m_home->engineConfiguration().toUtf8());
    for (const char *credential : {"RCLONE_RC_USER", "RCLONE_RC_PASS"}) {
        QCOMPARE(environment.value(credential).size(), 32);
        expected.insert(credential, environment.value(credential));
    }
    QVERIFY(environment["RCLONE_RC_USER"] != environment["RCLONE_RC_PASS"]);
    QCOMPARE(environment, expected);
}

void LaunchTest::secretsStayHidden() {
    const QJsonObject token = m_home->newToken();
    m_home->addAccount(token);
    QByteArrayList secrets{m_home->clientSecret().toUtf8(), token["refresh_token"_L1].toString().toUtf8(),
                           token["access_token"_L1].toString().toUtf8()};
    m_application->start();

    // Looked at all the time, since the commands that start and mount the drive come and go.
    QByteArray seen;
    constexpr auto ownerOnly = QFile::ReadOwner | QFile::WriteOwner | QFile::ReadUser | QFile::WriteUser;
    bool configurationWasRight = true;
    const auto look = [&] {
        const QList<ProcessInfo> processes = m_home->processes();
        for (const ProcessInfo &process : processes)
            seen += process.description() + '\n';
        QFile configuration(m_home->engineConfiguration());
        if (configuration.open(QIODevice::ReadOnly)) {
            const QByteArray text = configuration.readAll();
            configurationWasRight = configurationWasRight && configuration.permissions() == ownerOnly &&
                                    text.startsWith("[drive]\n") && text.contains(secrets[1]) && text.endsWith('\n');
        }
        return m_application->state() == u"live"_s;
    };
    QTRY_VERIFY_WITH_TIMEOUT(look(), 20'000);
    QVERIFY(configurationWasRight);
    // No core file, and with the hard limit of before: the browser is to get its own back.
    QFile limits(u"/proc/%1/limits"_s.arg(m_home->application()));
    QVERIFY(limits.open(QIODevice::ReadOnly));
    const QByteArray text = limits.readAll();
    const QByteArrayList core =
        text.mid(text.indexOf("Max core file size")).split('\n').first().simplified().split(' ');
    rlimit own = {};
    ::getrlimit(RLIMIT_CORE, &own);
    const QByteArray hard = own.rlim_max == RLIM_INFINITY ? "unlimited" : QByteArray::number(quint64(own.rlim_max));
    QCOMPARE(core.mid(4, 2), QByteArrayList({own.rlim_max == 0 ? "0" : "1", hard}));
    secrets += engine().environment.value("RCLONE_RC_PASS");
    secrets += engine().environment.value("RCLONE_RC_USER");

    QVERIFY(m_home->save(u"file"_s, "contents"));
    QTRY_VERIFY_WITH_TIMEOUT(look() && m_home->onGoogle(u"file"_s), 20'000);
    QFile engineLog(m_home->engineLog());
    QVERIFY(engineLog.open(QIODevice::ReadOnly));
    seen += engineLog.readAll() + m_application->output() + m_application->log();
    QVERIFY(seen.contains("QuillmountEngine") && seen.contains("quillmount-mount") && seen.contains("-> live"));
    for (const QByteArray &secret : std::as_const(secrets)) {
        QVERIFY(secret.size() > 8);
        QVERIFY(!seen.contains(secret));
    }
}

void LaunchTest::noPlaceForItsState() {
    m_application->environment.insert(u"XDG_STATE_HOME"_s, u"/dev/null"_s);
    m_application->start();
    QCOMPARE(m_application->end(), 1);
    QCOMPARE(m_application->output(), QByteArray());
    QVERIFY(
        m_application->log().contains("Quillmount cannot start: /dev/null/Quillmount/instance.lock cannot be opened"));
}

QTEST_GUILESS_MAIN(LaunchTest)
#include "LaunchTest.moc"
