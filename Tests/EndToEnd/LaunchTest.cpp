// SPDX-License-Identifier: LicenseRef-Quillmount
// Where the account's secrets can be seen, and a start that has no place for its state.
#include "Tests/EndToEnd/Application.h"
#include "Tests/EndToEnd/TestHome.h"

#include <QFile>
#include <QTest>

#include <sys/resource.h>

using namespace quillmount;
using namespace Qt::StringLiterals;

class LaunchTest : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void init();
    void cleanup();
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
