// SPDX-License-Identifier: LicenseRef-Quillmount
// What a start leaves to a crash, and one that has no place for its state.
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
    void leavesNoCoreFile();
    void noPlaceForItsState();
};

void LaunchTest::leavesNoCoreFile() {
    TestHome home;
    Application application(home);
    application.start();
    QVERIFY(application.comesTo(u"signedOut"_s));
    // With the hard limit of before: the browser is to get its own back.
    QFile limits(u"/proc/%1/limits"_s.arg(home.application()));
    QVERIFY(limits.open(QIODevice::ReadOnly));
    const QByteArray text = limits.readAll();
    const QByteArrayList core =
        text.mid(text.indexOf("Max core file size")).split('\n').first().simplified().split(' ');
    rlimit own = {};
    ::getrlimit(RLIMIT_CORE, &own);
    const QByteArray hard = own.rlim_max == RLIM_INFINITY ? "unlimited" : QByteArray::number(quint64(own.rlim_max));
    QCOMPARE(core.mid(4, 2), QByteArrayList({own.rlim_max == 0 ? "0" : "1", hard}));
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
