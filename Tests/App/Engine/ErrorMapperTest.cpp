// SPDX-License-Identifier: LicenseRef-Quillmount
#include "App/Engine/ErrorMapper.h"
#include "App/Support/Paths.h"
#include "Platform/Testing/ScopedPlatform.h"

#include <QtTest>

using namespace quillmount;
using namespace Qt::StringLiterals;
using Kind = ErrorMapper::Kind;

class ErrorMapperTest : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void classify_data();
    void classify();
    void lastLogError_data();
    void lastLogError();
};

void ErrorMapperTest::classify_data() {
    QTest::addColumn<QString>("text");
    QTest::addColumn<Kind>("kind");

    QTest::newRow("grant") << u"ERROR : couldn't list: oauth2: \"invalid_grant\""_s << Kind::needsReconnect;
    QTest::newRow("client") << u"UNAUTHORIZED_CLIENT"_s << Kind::needsReconnect;
    QTest::newRow("scope") << u"ACCESS_TOKEN_SCOPE_INSUFFICIENT"_s << Kind::needsReconnect;
    QTest::newRow("a token before the network") << u"dial tcp: couldn't fetch token"_s << Kind::needsReconnect;
    QTest::newRow("host") << u"lookup www: no such host"_s << Kind::offline;
    QTest::newRow("dial") << u"dial tcp 1.2.3.4:443: refused"_s << Kind::offline;
    QTest::newRow("the network before the disk") << u"i/o timeout, no space left"_s << Kind::offline;
    QTest::newRow("cache") << u"vfs cache: OutOfSpace"_s << Kind::diskFull;
    QTest::newRow("the disk before the mount") << u"mount failed: no space left"_s << Kind::diskFull;
    QTest::newRow("mount failed") << u"CRITICAL: Mount FAILED"_s << Kind::mountRefused;
    QTest::newRow("mount permission") << u"mounting: Permission denied"_s << Kind::mountRefused;
    QTest::newRow("mount alone") << u"mount is slow"_s << Kind::unknown;
    QTest::newRow("failure alone") << u"upload failed: permission denied"_s << Kind::unknown;
    QTest::newRow("nothing") << QString() << Kind::unknown;
}

void ErrorMapperTest::classify() {
    QFETCH(QString, text);
    QTEST(ErrorMapper::classify(text), "kind");
}

void ErrorMapperTest::lastLogError_data() {
    constexpr int window = 16384;
    QTest::addColumn<QByteArray>("log");
    QTest::addColumn<QString>("line");

    QTest::newRow("none of the lines") << "NOTICE: fine\nerror: in lower case\n"_ba << QString();
    QTest::newRow("the last of several") << "ERROR : one\nNOTICE: x\nERROR : two\nNOTICE: y\n"_ba << u"ERROR : two"_s;
    QTest::newRow("critical, without a line end") << "ERROR : one\n\n\nx CRITICAL: two"_ba << u"x CRITICAL: two"_s;
    QTest::newRow("invalid UTF-8") << "ERROR \xff\xfe caf\xc3\xa9\n"_ba << u"ERROR \uFFFD\uFFFD café"_s;

    const QByteArray error = "an ERROR here\n";
    QTest::newRow("whole in the window") << error + QByteArray(window - error.size(), 'x') << u"an ERROR here"_s;
    QTest::newRow("its beginning outside") << error + QByteArray(window - error.size() + 3, 'x') << u"ERROR here"_s;
    QTest::newRow("its word outside") << error + QByteArray(window - error.size() + 4, 'x') << QString();
}

void ErrorMapperTest::lastLogError() {
    QFETCH(QByteArray, log);
    const ScopedPlatform platform;
    QCOMPARE(ErrorMapper::lastLogError(), QString()); // there is no log yet

    Paths::ensureDirectories();
    QFile file(Paths::engineLog());
    QVERIFY(file.open(QIODevice::WriteOnly) && file.write(log) == log.size());
    file.close();
    QTEST(ErrorMapper::lastLogError(), "line");
}

QTEST_GUILESS_MAIN(ErrorMapperTest)
#include "ErrorMapperTest.moc"
