// SPDX-License-Identifier: LicenseRef-Quillmount
#include "GoogleStandIn/ApiError.h"
#include "GoogleStandIn/DiskName.h"
#include "GoogleStandIn/DriveQuery.h"
#include "GoogleStandIn/FieldSelector.h"
#include "GoogleStandIn/TimeText.h"

#include <QJsonDocument>
#include <QTest>

using namespace Qt::StringLiterals;
using namespace quillmount::standin;

// The two small languages of the Drive calls: searches and partial answers.
class SearchAndFieldsTest : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void searchMatches_data();
    void searchMatches();
    void brokenSearchIsRefused_data();
    void brokenSearchIsRefused();
    void searchKnowsItsFolders();
    void fieldsSelect_data();
    void fieldsSelect();
    void brokenFieldsAreRefused_data();
    void brokenFieldsAreRefused();
    void timesAreReadToTheMillisecond_data();
    void timesAreReadToTheMillisecond();
    void diskNamesAreStorable_data();
    void diskNamesAreStorable();
};

void SearchAndFieldsTest::searchMatches_data() {
    QTest::addColumn<QString>("query");
    QTest::addColumn<bool>("matches");
    const QString folder = u"mimeType='application/vnd.google-apps.folder'"_s;
    // The subject: the file "It's a \ Test.txt" in folder P, text/plain, not trashed, modified 2026-08-21 10:00.
    QTest::newRow("listing") << u"trashed=false and ('P' in parents)"_s << true;
    QTest::newRow("other folder") << u"trashed=false and ('Q' in parents)"_s << false;
    QTest::newRow("several folders") << u"trashed=false and ('A' in parents or 'P' in parents)"_s << true;
    QTest::newRow("find, escaped, other case") << u"('P' in parents) and (name='it\\'s A \\\\ test.TXT')"_s << true;
    QTest::newRow("find or stem") << u"(name='x' or name='It\\'s a \\\\ Test.txt')"_s << true;
    QTest::newRow("folder of that name") << u"('P' in parents) and ("_s + folder + u" or mimeType='x')"_s << false;
    QTest::newRow("and binds tighter") << u"trashed=false or trashed=true and name='x'"_s << true;
    QTest::newRow("brackets") << u"(trashed=false or trashed=true) and name='x'"_s << false;
    QTest::newRow("not") << u"not trashed=true and not (name='x')"_s << true;
    QTest::newRow("differs") << u"mimeType != 'text/plain'"_s << false;
    QTest::newRow("trashed != true") << u"trashed != true"_s << true;
    QTest::newRow("name contains word start") << u"name contains 'tes'"_s << true;
    QTest::newRow("name contains inner part") << u"name contains 'est'"_s << false;
    QTest::newRow("time") << u"modifiedTime >= '2026-08-21T10:00:00Z' and modifiedTime < '2026-08-21T12:00:01+02:00'"_s
                          << true;
}

void SearchAndFieldsTest::searchMatches() {
    QFETCH(QString, query);
    const QuerySubject subject{.name = u"It's a \\ Test.txt"_s,
                               .mimeType = u"text/plain"_s,
                               .parentId = u"P"_s,
                               .trashed = false,
                               .modifiedMs = *parseTime(u"2026-08-21T10:00:00Z"_s)};
    QTEST(DriveQuery::parse(query).matches(subject), "matches");
}

void SearchAndFieldsTest::brokenSearchIsRefused_data() {
    QTest::addColumn<QString>("query");
    for (const char *query : {"name",
                              "name=",
                              "name='open",
                              "name='a' and",
                              "name='a' name='b'",
                              "(name='a'",
                              "name='a')",
                              "name=\"a\"",
                              "name>'a'",
                              "size=3",
                              "'P' in owners",
                              "'P' parents",
                              "trashed=maybe",
                              "trashed='true'",
                              "name='it\\n'",
                              "name='a'' or name='b'",
                              "modifiedTime>'yesterday'",
                              "name='a' AND name='b'",
                              "not",
                              "= 'a'"}) {
        QTest::newRow(query) << QString::fromLatin1(query);
    }
    QTest::newRow("deep") << QString(5000, u'(') + u"trashed=false"_s + QString(5000, u')');
}

void SearchAndFieldsTest::brokenSearchIsRefused() {
    QFETCH(QString, query);
    QVERIFY_THROWS_EXCEPTION(ApiError, DriveQuery::parse(query));
}

void SearchAndFieldsTest::searchKnowsItsFolders() {
    // What the store may leave out of the search; a wrong answer here hides files.
    const auto folders = [](const QString &query) { return DriveQuery::parse(query).parents(); };
    QCOMPARE(*folders(u"trashed=false and ('A' in parents or 'B' in parents)"_s), (QStringList{u"A"_s, u"B"_s}));
    QVERIFY(!folders(u"'A' in parents or name='x'"_s));
    QVERIFY(!folders(u"not 'A' in parents"_s));
    QCOMPARE(*DriveQuery::parse(u"'root' in parents"_s).withParentAlias(u"root"_s, u"R"_s).parents(),
             QStringList{u"R"_s});
}

void SearchAndFieldsTest::fieldsSelect_data() {
    QTest::addColumn<QString>("fields");
    QTest::addColumn<QByteArray>("expected");
    QTest::newRow("none") << u""_s << QByteArray("{}");
    QTest::newRow("nested") << u"files(id,parents),nextPageToken"_s
                            << QByteArray(R"({"files":[{"id":"1","parents":["P"]},{"id":"2"}],"nextPageToken":"t"})");
    QTest::newRow("path") << u"files/name"_s << QByteArray(R"({"files":[{"name":"a"},{"name":"b"}]})");
    QTest::newRow("absent member") << u"incompleteSearch"_s << QByteArray("{}");
    QTest::newRow("everything") << u"*"_s
                                << QByteArray(
                                       R"({"files":[{"id":"1","name":"a","parents":["P"]},{"id":"2","name":"b"}],)"
                                       R"("nextPageToken":"t"})");
    QTest::newRow("everything inside")
        << u"files(*)"_s << QByteArray(R"({"files":[{"id":"1","name":"a","parents":["P"]},{"id":"2","name":"b"}]})");
}

void SearchAndFieldsTest::fieldsSelect() {
    QFETCH(QString, fields);
    const QByteArray answer =
        R"({"nextPageToken":"t","files":[{"id":"1","name":"a","parents":["P"]},{"id":"2","name":"b"}]})";
    const QJsonObject selected =
        FieldSelector::parse(fields, Resource::fileList).apply(QJsonDocument::fromJson(answer).object());
    QTEST(QJsonDocument(selected).toJson(QJsonDocument::Compact), "expected");
}

void SearchAndFieldsTest::brokenFieldsAreRefused_data() {
    QTest::addColumn<QString>("fields");
    for (const char *fields : {"nothing", "files(nothing)", "files(id", "files)", "files(id))", "id,", ",kind",
                               "kind(x)", "kind/x", "files()", "files id"}) {
        QTest::newRow(fields) << QString::fromLatin1(fields);
    }
}

void SearchAndFieldsTest::brokenFieldsAreRefused() {
    QFETCH(QString, fields);
    QVERIFY_THROWS_EXCEPTION(ApiError, FieldSelector::parse(fields, Resource::fileList));
}

void SearchAndFieldsTest::timesAreReadToTheMillisecond_data() {
    QTest::addColumn<QString>("text");
    QTest::addColumn<QString>("kept");
    QTest::newRow("nanoseconds") << u"2026-08-21T10:00:00.123456789Z"_s << u"2026-08-21T10:00:00.123Z"_s;
    QTest::newRow("tenths") << u"2026-08-21T10:00:00.5Z"_s << u"2026-08-21T10:00:00.500Z"_s;
    QTest::newRow("zone") << u"2026-01-01T00:30:00+01:00"_s << u"2025-12-31T23:30:00.000Z"_s;
    QTest::newRow("before 1970") << u"1969-12-31T23:59:59.250Z"_s << u"1969-12-31T23:59:59.250Z"_s;
    QTest::newRow("no zone") << u"2026-08-21T10:00:00"_s << QString();
    QTest::newRow("no such day") << u"2026-02-30T10:00:00Z"_s << QString();
    QTest::newRow("rubbish") << u"now"_s << QString();
}

void SearchAndFieldsTest::timesAreReadToTheMillisecond() {
    QFETCH(QString, text);
    const std::optional<qint64> ms = parseTime(text);
    QTEST(ms ? formatTime(*ms) : QString(), "kept");
}

void SearchAndFieldsTest::diskNamesAreStorable_data() {
    QTest::addColumn<QString>("name");
    QTest::addColumn<QString>("onDisk");
    QTest::newRow("plain") << u"a.txt"_s << u"a.txt"_s;
    QTest::newRow("taken") << u"taken.txt"_s << u"taken (2).txt"_s;
    QTest::newRow("taken, no extension") << u"taken"_s << u"taken (2)"_s;
    QTest::newRow("slash") << u"a/b"_s << u"a\u2215b"_s;
    QTest::newRow("dots") << u".."_s << u"_.."_s;
    QTest::newRow("empty") << QString() << u"_"_s;
    QTest::newRow("long") << QString(300, u'\u00e4') + u".txt"_s << QString(125, u'\u00e4') + u".txt"_s;
    QTest::newRow("long pairs") << u"\U0001F600"_s.repeated(100) << u"\U0001F600"_s.repeated(63);
}

void SearchAndFieldsTest::diskNamesAreStorable() {
    QFETCH(QString, name);
    const QString onDisk = freeNameFor(
        name, [](const QString &candidate) { return candidate == "taken.txt"_L1 || candidate == "taken"_L1; });
    QTEST(onDisk, "onDisk");
    QVERIFY(onDisk.toUtf8().size() <= 255);
}

QTEST_APPLESS_MAIN(SearchAndFieldsTest)
#include "SearchAndFieldsTest.moc"
