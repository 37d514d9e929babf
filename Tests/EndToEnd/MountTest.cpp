// SPDX-License-Identifier: LicenseRef-Quillmount
// What others do to the mount behind the application's back.
#include "Tests/EndToEnd/Application.h"
#include "Tests/EndToEnd/TestHome.h"

#include <QTest>

#include <csignal>

using namespace quillmount;
using namespace Qt::StringLiterals;

class MountTest : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void killedServerIsReplaced();
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

QTEST_GUILESS_MAIN(MountTest)
#include "MountTest.moc"
