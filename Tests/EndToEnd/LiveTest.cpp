// SPDX-License-Identifier: LicenseRef-Quillmount
// The drive as a person has it: what is saved in it reaches Google, and what changes at Google appears in it.
#include "Tests/EndToEnd/Application.h"
#include "Tests/EndToEnd/TestHome.h"

#include <QDir>
#include <QElapsedTimer>
#include <QTest>

#include <csignal>

using namespace quillmount;
using namespace Qt::StringLiterals;

class LiveTest : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void filesGoBothWays();
};

void LiveTest::filesGoBothWays() {
    TestHome home;
    Application application(home);
    home.addAccount();
    application.start();
    QTRY_VERIFY_WITH_TIMEOUT(home.engine() != 0, 10'000);
    QElapsedTimer sinceEngine;
    sinceEngine.start();
    QVERIFY(application.comesTo(u"live"_s, 10));
    qInfo("live %lld ms after the engine's start", sinceEngine.elapsed());
    QTRY_COMPARE(application.output(), "Drive: " + home.mountPoint().toUtf8() + '\n');
    QVERIFY(home.isMounted());

    // Not a multiple of any block size, and larger than one write.
    const QByteArray picture = someBytes(3'000'001, 1);
    const QByteArray letter = "Dear reader,\n";
    QVERIFY(home.save(u"picture.bin"_s, picture));
    QVERIFY(home.within([path = home.mountPoint()] { return QDir(path).mkpath(u"Letters/2026"_s); }));
    QVERIFY(home.save(u"Letters/2026/Müller & sons' letter.txt"_s, letter));
    QVERIFY(home.save(u"old name.txt"_s, "renamed"));
    QVERIFY(home.save(u"superfluous.txt"_s, "deleted"));
    QTRY_COMPARE_WITH_TIMEOUT(home.onGoogle(u"picture.bin"_s), picture, 20'000);
    QTRY_COMPARE_WITH_TIMEOUT(home.onGoogle(u"Letters/2026/Müller & sons' letter.txt"_s), letter, 10'000);
    QTRY_VERIFY_WITH_TIMEOUT(home.onGoogle(u"superfluous.txt"_s) && home.onGoogle(u"old name.txt"_s), 10'000);

    // The engine asks for changes every 30 seconds, so the rest goes on meanwhile.
    home.google.write(u"Quillmount/from elsewhere.txt"_s, "written by another device");
    home.google.write(u"Quillmount/Letters/new.txt"_s, "into a folder that is known");

    const QString drive = home.mountPoint();
    QVERIFY(
        home.within([drive] { return QFile::rename(drive + u"/old name.txt"_s, drive + u"/Letters/new name.txt"_s); }));
    QVERIFY(home.within([drive] { return QFile::remove(drive + u"/superfluous.txt"_s); }));
    QVERIFY(home.within([drive] { return QFile::rename(drive + u"/Letters"_s, drive + u"/Correspondence"_s); }));
    QTRY_COMPARE_WITH_TIMEOUT(home.onGoogle(u"Correspondence/new name.txt"_s), QByteArray("renamed"), 10'000);
    QTRY_VERIFY_WITH_TIMEOUT(!home.onGoogle(u"superfluous.txt"_s) && !home.onGoogle(u"old name.txt"_s), 10'000);
    QCOMPARE(home.onGoogle(u"Correspondence/2026/Müller & sons' letter.txt"_s), letter);

    const auto appeared = [&](const QString &path, const QByteArray &contents) { return home.load(path) == contents; };
    QTRY_VERIFY_WITH_TIMEOUT(appeared(u"from elsewhere.txt"_s, "written by another device"), 45'000);
    QTRY_VERIFY_WITH_TIMEOUT(appeared(u"Correspondence/new.txt"_s, "into a folder that is known"), 5'000);
    QCOMPARE(home.load(u"picture.bin"_s), picture);

    application.signal(SIGTERM);
    QCOMPARE(application.end(), 0);
    QVERIFY(home.isQuiet());
}

QTEST_GUILESS_MAIN(LiveTest)
#include "LiveTest.moc"
