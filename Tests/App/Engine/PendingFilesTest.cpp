// SPDX-License-Identifier: LicenseRef-Quillmount
#include "App/Engine/PendingFiles.h"
#include "App/Support/Paths.h"
#include "Platform/Testing/ScopedPlatform.h"
#include "Tests/Support/Started.h"
#include "Tests/Support/WaitFor.h"

#include <QDir>
#include <QtTest>

using namespace quillmount;
using namespace Qt::StringLiterals;

class PendingFilesTest : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void count_data();
    void count();
};

void PendingFilesTest::count_data() {
    QTest::addColumn<QString>("path");
    QTest::addColumn<QByteArray>("text");
    QTest::addColumn<int>("count");
    const QByteArray dirty = R"({"ModTime":"2026-01-15T12:00:00Z","Size":3,"Dirty":true})";
    const QByteArray clean = R"({"Size":3,"Dirty":false})";
    QTest::newRow("no cache") << QString() << QByteArray() << 0;
    QTest::newRow("dirty") << u"drive/Quillmount/a"_s << dirty << 1;
    QTest::newRow("in a folder, of another remote") << u"drive{x1}/Quillmount/b/.c/d"_s << dirty << 1;
    QTest::newRow("clean") << u"drive/Quillmount/a"_s << clean << 0;
    QTest::newRow("dirty elsewhere") << u"drive/Other/a"_s << dirty << 0;
    QTest::newRow("damaged") << u"drive/Quillmount/a"_s << dirty.left(20) << 1;
}

void PendingFilesTest::count() {
    QFETCH(QString, path);
    QFETCH(QByteArray, text);
    QFETCH(int, count);
    const ScopedPlatform platform;
    if (!path.isEmpty()) {
        QFile file(Paths::cacheDirectory() + u"/vfsMeta/"_s + path);
        QVERIFY(QDir().mkpath(QFileInfo(file).path()));
        QVERIFY(file.open(QIODevice::WriteOnly) && file.write(text) == text.size());
    }
    const auto counted = started(PendingFiles::count());
    QVERIFY(waitFor([&] { return counted->isDone; }));
    QCOMPARE(*counted->value, count);
}

QTEST_GUILESS_MAIN(PendingFilesTest)
#include "PendingFilesTest.moc"
