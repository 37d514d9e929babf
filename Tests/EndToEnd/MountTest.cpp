// SPDX-License-Identifier: LicenseRef-Quillmount
// What others do to the mount behind the application's back.
#include "Tests/EndToEnd/Application.h"
#include "Tests/EndToEnd/TestHome.h"

#include <QTest>

#include <csignal>

using namespace quillmount;
using namespace Qt::StringLiterals;

namespace {

// A program of somebody who uses the drive. Each line that it is sent makes it go one step on; it says "done" after
// each.
class Visitor {
public:
    // `script` sees the drive as $1.
    Visitor(const TestHome &home, const QString &script) {
        m_shell.start(u"/bin/sh"_s, {u"-c"_s, script, u"visitor"_s, home.mountPoint()});
    }
    ~Visitor() {
        m_shell.kill();
        m_shell.waitForFinished();
    }
    Q_DISABLE_COPY_MOVE(Visitor)

    [[nodiscard]] QByteArray answer() {
        return QTest::qWaitFor([this] { return m_shell.canReadLine(); }, 20'000) ? m_shell.readLine() : QByteArray();
    }
    void goOn() { m_shell.write("\n"); }

private:
    QProcess m_shell;
};

} // namespace

class MountTest : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void killedServerIsReplaced();
    void stoppedServerGoesOn();
    void unmountFromOutsideWaitsForUploads();
    void openFileDoesNotHinderTheEnd();
    void shellInsideDoesNotHinderTheEnd();
};

void MountTest::killedServerIsReplaced() {
    TestHome home;
    Application application(home);
    QVERIFY(application.goLive());
    const int stalled = home.stallUploads();
    const QByteArray contents = someBytes(1'000'001, 1);
    QVERIFY(home.save(u"pending.bin"_s, contents));
    const pid_t engine = home.engine();
    const pid_t server = home.mountServer();

    ::kill(server, SIGKILL);
    QVERIFY(application.comesTo(u"starting"_s));
    QVERIFY(application.comesTo(u"live"_s));
    QCOMPARE(home.engine(), engine);
    QVERIFY(home.mountServer() != 0 && home.mountServer() != server);
    QCOMPARE(home.load(u"pending.bin"_s), contents);
    home.google.clearFault(stalled);
    QTRY_COMPARE_WITH_TIMEOUT(home.onGoogle(u"pending.bin"_s), contents, 40'000);
}

void MountTest::stoppedServerGoesOn() {
    TestHome home;
    Application application(home);
    QVERIFY(application.goLive());
    const QStringList states = application.states();
    ::kill(home.mountServer(), SIGSTOP);
    // Waits for the server, and so until the application has set it going again.
    QVERIFY(home.save(u"file"_s, "saved all the same"));
    QCOMPARE(home.load(u"file"_s), QByteArray("saved all the same"));
    QCOMPARE(application.states(), states);
}

void MountTest::unmountFromOutsideWaitsForUploads() {
    TestHome home;
    Application application(home);
    QVERIFY(application.goLive());
    const int stalled = home.stallUploads();
    const QByteArray contents = someBytes(1'000'001, 1);
    QVERIFY(home.save(u"pending.bin"_s, contents));
    QTRY_VERIFY_WITH_TIMEOUT(home.hits(stalled) > 0, 20'000);

    QCOMPARE(QProcess::execute(u"/usr/bin/fusermount3"_s, {u"-u"_s, home.mountPoint()}), 0);
    QVERIFY(application.comesTo(u"ejecting"_s));
    QVERIFY(home.engine() != 0 && !home.isMounted());
    QCOMPARE(home.onGoogle(u"pending.bin"_s), std::nullopt);
    home.google.clearFault(stalled);
    QVERIFY(application.comesTo(u"stopped"_s, 40));
    QCOMPARE(home.onGoogle(u"pending.bin"_s), contents);
    QVERIFY(home.engine() == 0 && home.mountServer() == 0);
    QVERIFY(application.isRunning());
}

void MountTest::openFileDoesNotHinderTheEnd() {
    TestHome home;
    Application application(home);
    QVERIFY(application.goLive());
    Visitor visitor(home, uR"(exec 3>"$1/open.txt" && echo saved >&3 && sync "$1/open.txt" && echo open; read _
                              echo more >&3 2>/dev/null && echo written || echo refused)"_s);
    QCOMPARE(visitor.answer(), "open\n");
    application.signal(SIGTERM);
    QCOMPARE(application.end(), 0);
    QVERIFY(home.isQuiet());
    visitor.goOn();
    QCOMPARE(visitor.answer(), "refused\n");

    Application next(home);
    next.start();
    QVERIFY(next.comesTo(u"live"_s));
    QCOMPARE(home.load(u"open.txt"_s), QByteArray("saved\n"));
    QTRY_COMPARE_WITH_TIMEOUT(home.onGoogle(u"open.txt"_s), QByteArray("saved\n"), 20'000);
}

void MountTest::shellInsideDoesNotHinderTheEnd() {
    TestHome home;
    Application application(home);
    QVERIFY(application.goLive());
    Visitor visitor(home, u"cd \"$1\" && echo inside; read _; ls >/dev/null 2>&1 || echo refused"_s);
    QCOMPARE(visitor.answer(), "inside\n");
    application.signal(SIGTERM);
    QCOMPARE(application.end(), 0);
    QVERIFY(home.isQuiet());
    visitor.goOn();
    QCOMPARE(visitor.answer(), "refused\n");
}

QTEST_GUILESS_MAIN(MountTest)
#include "MountTest.moc"
