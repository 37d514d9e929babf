// SPDX-License-Identifier: LicenseRef-Quillmount
#include "GoogleStandIn/ApiError.h"
#include "GoogleStandIn/DiskName.h"
#include "GoogleStandIn/DriveQuery.h"
#include "GoogleStandIn/TimeText.h"

#include <QTest>

using namespace Qt::StringLiterals;
using namespace quillmount::standin;

// The language of searches, and the names that files get on the disk.
class SearchAndFieldsTest : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void searchMatches_data();
    void searchMatches();
    void brokenSearchIsRefused_data();
    void brokenSearchIsRefused();
    void searchKnowsItsFolders();
    void diskNamesAreStorable_data();
    void diskNamesAreStorable();
};

void SearchAndFieldsTest::searchMatches_data() {
    QTest::addColumn<QString>("query");
    QTest::addColumn<bool>("matches");
    // The subject: the file "It's a \ Test.txt" in folder P, text/plain, not trashed, modified 2026-08-21 10:00.
    QTest::newRow("listing") << u"trashed=false and ('P' in parents)"_s << true;
    QTest::newRow("find, escaped, other case") << u"('P' in parents) and (name='it\\'s A \\\\ test.TXT')"_s << true;
    QTest::newRow("and binds tighter") << u"trashed=false or trashed=true and name='x'"_s << true;
    QTest::newRow("brackets") << u"(trashed=false or trashed=true) and name='x'"_s << false;
    QTest::newRow("not") << u"not trashed=true and not (name='x')"_s << true;
    QTest::newRow("name contains word start") << u"name contains 'tes'"_s << true;
    QTest::newRow("name contains inner part") << u"name contains 'est'"_s << false;
    QTest::newRow("time") << u"modifiedTime>='2026-08-21T10:00:00Z' and modifiedTime<'2026-08-21T12:00:01+02:00'"_s
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
    const QString broken =
        u"name|name=|name='open|name='a' and|name='a' name='b'|(name='a'|name='a')|name=\"a\"|name>'a'|size=3|"
        "'P' in owners|'P' parents|trashed=maybe|name='it\\n'|name='a'' or name='b'|modifiedTime>'yesterday'|not|= 'a'"_s;
    for (const QString &query : broken.split(u'|'))
        QTest::newRow(qPrintable(query)) << query;
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

void SearchAndFieldsTest::diskNamesAreStorable_data() {
    QTest::addColumn<QString>("name");
    QTest::addColumn<QString>("onDisk");
    QTest::newRow("taken") << u"taken.txt"_s << u"taken (2).txt"_s;
    QTest::newRow("slash") << u"a/b"_s << u"a\u2215b"_s;
    QTest::newRow("dots") << u".."_s << u"_.."_s;
    QTest::newRow("empty") << QString() << u"_"_s;
    QTest::newRow("long") << QString(300, u'\u00e4') + u".txt"_s << QString(125, u'\u00e4') + u".txt"_s;
    QTest::newRow("long pairs") << u"\U0001F600"_s.repeated(100) << u"\U0001F600"_s.repeated(63);
}

void SearchAndFieldsTest::diskNamesAreStorable() {
    QFETCH(QString, name);
    const QString onDisk = freeNameFor(name, [](const QString &candidate) { return candidate == "taken.txt"_L1; });
    QTEST(onDisk, "onDisk");
    QVERIFY(onDisk.toUtf8().size() <= 255);
}

QTEST_APPLESS_MAIN(SearchAndFieldsTest)
#include "SearchAndFieldsTest.moc"
