// SPDX-License-Identifier: LicenseRef-Quillmount
#include "Tests/GoogleStandIn/GoogleClient.h"
#include "Tests/Support/TestFiles.h"

#include <QDir>
#include <QFile>
#include <QJsonArray>
#include <QJsonDocument>
#include <QProcess>
#include <QTest>

#include <memory>

using namespace Qt::StringLiterals;
using namespace quillmount;

// The folder in which everything lies: it survives what happens to the program, and the user may work in it.
class FolderTest : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void init();
    void cleanup();

    void everythingSurvivesAKill();
    void cutOffRenameIsFinished();
    void tornJournalLineIsCutOff();
    void secondInstanceIsRefused();
    void handmadeChangesKeepTheFile();
    void handmadeDeletionIsAChangeInItsFolder();
    void handmadeChangesWhileStoppedAreSeen();
    void fileBeingWrittenIsNotTaken();

private:
    QString idOf(const QString &path) { return m_google->file(path)["id"_L1].toString(); }

    std::unique_ptr<LocalGoogle> m_google;
};

void FolderTest::init() {
    m_google = std::make_unique<LocalGoogle>();
}

void FolderTest::cleanup() {
    m_google.reset();
}

void FolderTest::everythingSurvivesAKill() {
    m_google->makeFolder(u"F"_s);
    m_google->write(u"F/a.txt"_s, "first");
    m_google->write(u"F/a.txt"_s, "second");
    m_google->write(u"b.txt"_s, "b");
    m_google->rename(u"b.txt"_s, u"F/c.txt"_s);
    m_google->write(u"gone.txt"_s, "gone");
    m_google->trash(u"gone.txt"_s);
    m_google->write(u"ended.txt"_s, "ended");
    m_google->remove(u"ended.txt"_s);
    m_google->setQuota(123'456'789);
    const QJsonObject a = m_google->file(u"F/a.txt"_s);
    const QJsonObject c = m_google->file(u"F/c.txt"_s);
    const QByteArray authority = contentOf(m_google->certificateAuthority());
    GoogleClient before(*m_google);
    const QJsonObject changes = before.get(u"/drive/v3/changes?fields=*&pageToken=1"_s).json;
    QCOMPARE(changes["changes"_L1].toArray().size(), 6);

    m_google->kill();
    m_google->start();
    QCOMPARE(m_google->file(u"F/a.txt"_s), a);
    QCOMPARE(m_google->file(u"F/c.txt"_s), c);
    QCOMPARE(contentOf(m_google->pathOf(u"F/a.txt"_s)), QByteArray("second"));
    QCOMPARE(contentOf(m_google->certificateAuthority()), authority);
    // The old access token, the old list of changes and the next number in it.
    GoogleClient after(*m_google);
    QCOMPARE(after.token(), before.token());
    QCOMPARE(after.get(u"/drive/v3/changes?fields=*&pageToken=1"_s).json, changes);
    QCOMPARE(m_google->control("GET", u"/quota"_s)["limit"_L1].toInteger(), 123'456'789);
}

void FolderTest::cutOffRenameIsFinished() {
    m_google->write(u"a.txt"_s, "content");
    const QString id = idOf(u"a.txt"_s);
    m_google->kill();
    // The state that a kill leaves between the journal and the rename.
    const QList<QByteArray> lines = contentOf(m_google->directory() + u"/.state/journal.jsonl"_s).trimmed().split('\n');
    const QJsonDocument record = QJsonDocument::fromJson(lines.last());
    const QString from = record["from"_L1].toString();
    QVERIFY(!from.isEmpty());
    QVERIFY(QFile::rename(m_google->pathOf(u"a.txt"_s), m_google->directory() + u'/' + from));
    m_google->start();
    QCOMPARE(contentOf(m_google->pathOf(u"a.txt"_s)), QByteArray("content"));
    QCOMPARE(idOf(u"a.txt"_s), id);
}

void FolderTest::tornJournalLineIsCutOff() {
    m_google->write(u"a.txt"_s, "a");
    const QString id = idOf(u"a.txt"_s);
    m_google->kill();
    QFile journal(m_google->directory() + u"/.state/journal.jsonl"_s);
    QVERIFY(journal.open(QIODevice::Append));
    journal.write(R"({"put":[{"id":"1half)");
    journal.close();
    m_google->start();
    m_google->write(u"b.txt"_s, "b");
    m_google->kill();
    m_google->start();
    QCOMPARE(idOf(u"a.txt"_s), id);
    QVERIFY(!idOf(u"b.txt"_s).isEmpty());
}

void FolderTest::secondInstanceIsRefused() {
    QProcess second;
    second.start(qEnvironmentVariable("QUILLMOUNT_BIN") + u"/google-stand-in"_s,
                 {u"--directory"_s, m_google->directory()});
    QVERIFY(second.waitForFinished());
    QCOMPARE(second.exitCode(), 1);
    QVERIFY(second.readAllStandardError().contains("already serves the folder"));
    QCOMPARE(m_google->stop(), 0);
}

void FolderTest::handmadeChangesKeepTheFile() {
    QDir root(m_google->filesRoot());
    QVERIFY(root.mkpath(u"To/Deeper"_s));
    putFile(root.filePath(u"To/Deeper/a.txt"_s), "inside");
    QTRY_COMPARE(m_google->file(u"To/Deeper/a.txt"_s)["size"_L1].toString(), u"6"_s);
    const QString id = idOf(u"To/Deeper/a.txt"_s);
    QVERIFY(root.rename(u"To/Deeper/a.txt"_s, u"To/b.txt"_s));
    QTRY_COMPARE(idOf(u"To/b.txt"_s), id);
    QVERIFY(root.rename(u"To"_s, u"Elsewhere"_s));
    QTRY_COMPARE(idOf(u"Elsewhere/b.txt"_s), id);
    QCOMPARE(idOf(u"To/b.txt"_s), QString());
    putFile(root.filePath(u"Elsewhere/b.txt"_s), "changed by hand");
    QTRY_COMPARE(m_google->file(u"Elsewhere/b.txt"_s)["size"_L1].toString(), u"15"_s);
    QCOMPARE(GoogleClient(*m_google).get(u"/drive/v3/files/%1?alt=media"_s.arg(id)).body, "changed by hand");
}

void FolderTest::handmadeDeletionIsAChangeInItsFolder() {
    m_google->makeFolder(u"F"_s);
    m_google->write(u"F/a.txt"_s, "a");
    const QString folder = idOf(u"F"_s);
    const QString id = idOf(u"F/a.txt"_s);
    GoogleClient client(*m_google);
    const QString token = client.get(u"/drive/v3/changes/startPageToken"_s).json["startPageToken"_L1].toString();
    QVERIFY(QFile::remove(m_google->pathOf(u"F/a.txt"_s)));
    QTRY_COMPARE(idOf(u"F/a.txt"_s), QString());
    const QJsonArray changes =
        client.get(u"/drive/v3/changes?fields=*&pageToken="_s + token).json["changes"_L1].toArray();
    QCOMPARE(changes.size(), 1);
    QCOMPARE(changes[0]["fileId"_L1].toString(), id);
    QCOMPARE(changes[0]["file"_L1]["parents"_L1].toArray(), QJsonArray{folder});
    QCOMPARE(client.get(u"/drive/v3/files/%1?alt=media"_s.arg(id)).status, 404);
}

void FolderTest::handmadeChangesWhileStoppedAreSeen() {
    m_google->write(u"kept.txt"_s, "kept");
    m_google->write(u"renamed.txt"_s, "renamed");
    m_google->write(u"changed.txt"_s, "before");
    m_google->write(u"deleted.txt"_s, "deleted");
    const QJsonObject kept = m_google->file(u"kept.txt"_s);
    const QString renamed = idOf(u"renamed.txt"_s);
    QCOMPARE(m_google->stop(), 0);
    QDir root(m_google->directory() + u"/My Drive"_s);
    root.rename(u"renamed.txt"_s, u"other.txt"_s);
    putFile(root.filePath(u"changed.txt"_s), "afterwards");
    root.remove(u"deleted.txt"_s);
    putFile(root.filePath(u"new.txt"_s), "new");
    m_google->start();
    QCOMPARE(m_google->file(u"kept.txt"_s), kept);
    QCOMPARE(idOf(u"other.txt"_s), renamed);
    QCOMPARE(m_google->file(u"changed.txt"_s)["size"_L1].toString(), u"10"_s);
    QCOMPARE(idOf(u"deleted.txt"_s), QString());
    QCOMPARE(m_google->file(u"new.txt"_s)["size"_L1].toString(), u"3"_s);
}

void FolderTest::fileBeingWrittenIsNotTaken() {
    QFile slow(m_google->pathOf(u"slow.txt"_s));
    QVERIFY(slow.open(QIODevice::WriteOnly));
    slow.write("first half, ");
    slow.flush();
    // Others, put there later, are taken; so there was time enough for the first.
    for (const QString &marker : {u"marker.txt"_s, u"marker2.txt"_s}) {
        putFile(m_google->pathOf(marker), "marker");
        QTRY_VERIFY(!idOf(marker).isEmpty());
    }
    QCOMPARE(idOf(u"slow.txt"_s), QString());
    slow.write("second half");
    slow.close();
    QTRY_COMPARE(m_google->file(u"slow.txt"_s)["size"_L1].toString(), u"23"_s);
}

QTEST_GUILESS_MAIN(FolderTest)
#include "FolderTest.moc"
