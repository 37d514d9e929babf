// SPDX-License-Identifier: LicenseRef-Quillmount
#include "Tests/GoogleStandIn/GoogleClient.h"
#include "Tests/Support/TestFiles.h"

#include <QCryptographicHash>
#include <QFile>
#include <QJsonArray>
#include <QTest>

#include <memory>

using namespace Qt::StringLiterals;
using namespace quillmount;

namespace {
const QString files = u"/drive/v3/files"_s;

} // namespace

// The calls of the Drive service over the wire: what they do, and what they refuse.
class DriveApiTest : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void init();
    void cleanup();

    void rangesAreHonoured_data();
    void rangesAreHonoured();
    void listingsComeInPages();
    void movesFollowTheRules();
    void trashAndChangesTellTheStory();
    void changesComeInPages();
    void otherAppsFilesAreUnseen();
    void refusals_data();
    void refusals();

private:
    QString create(const QString &name, const QByteArray &content, const QString &parent = u"root"_s) {
        return m_client->upload({{"name"_L1, name}, {"parents"_L1, QJsonArray{parent}}}, content)
            .json["id"_L1]
            .toString();
    }
    QString createFolder(const QString &name, const QString &parent = u"root"_s) {
        const QJsonObject body{{"name"_L1, name},
                               {"parents"_L1, QJsonArray{parent}},
                               {"mimeType"_L1, "application/vnd.google-apps.folder"_L1}};
        return m_client->json("POST", files, body).json["id"_L1].toString();
    }
    QStringList namesFor(const QString &query) {
        QStringList names;
        const QJsonArray found = m_client->get(files + u"?q="_s + encoded(query)).json["files"_L1].toArray();
        for (const QJsonValue &file : found)
            names.append(file["name"_L1].toString());
        return names;
    }
    QString startToken() {
        return m_client->get(u"/drive/v3/changes/startPageToken"_s).json["startPageToken"_L1].toString();
    }

    std::unique_ptr<LocalGoogle> m_google;
    std::unique_ptr<GoogleClient> m_client;
};

void DriveApiTest::init() {
    m_google = std::make_unique<LocalGoogle>();
    m_client = std::make_unique<GoogleClient>(*m_google);
}

void DriveApiTest::cleanup() {
    m_client.reset();
    m_google.reset();
}

void DriveApiTest::rangesAreHonoured_data() {
    QTest::addColumn<QByteArray>("range");
    QTest::addColumn<int>("status");
    QTest::addColumn<QByteArray>("body");
    QTest::addColumn<QByteArray>("contentRange");
    QTest::newRow("none") << QByteArray() << 200 << QByteArray("0123456789") << QByteArray();
    QTest::newRow("middle") << QByteArray("bytes=2-4") << 206 << QByteArray("234") << QByteArray("bytes 2-4/10");
    QTest::newRow("past the end") << QByteArray("bytes=8-99") << 206 << QByteArray("89") << QByteArray("bytes 8-9/10");
    QTest::newRow("open") << QByteArray("bytes=7-") << 206 << QByteArray("789") << QByteArray("bytes 7-9/10");
    QTest::newRow("suffix") << QByteArray("bytes=-3") << 206 << QByteArray("789") << QByteArray("bytes 7-9/10");
    QTest::newRow("behind the end") << QByteArray("bytes=10-12") << 416 << QByteArray() << QByteArray();
    QTest::newRow("rubbish") << QByteArray("bytes=a-b") << 416 << QByteArray() << QByteArray();
}

void DriveApiTest::rangesAreHonoured() {
    QFETCH(QByteArray, range);
    QFETCH(QByteArray, body);
    const QString id = create(u"digits"_s, "0123456789");
    const GoogleClient::Headers headers =
        range.isNull() ? GoogleClient::Headers() : GoogleClient::Headers{{"Range", range}};
    const GoogleClient::Answer answer = m_client->send("GET", files + u'/' + id + u"?alt=media"_s, {}, headers);
    QTEST(answer.status, "status");
    QTEST(answer.headers.value("content-range"), "contentRange");
    if (answer.status < 400)
        QCOMPARE(answer.body, body);
}

void DriveApiTest::listingsComeInPages() {
    const QString folder = createFolder(u"F"_s);
    for (int i = 0; i < 5; ++i)
        create(u"file %1"_s.arg(i), "x", folder);
    const QString query = files + u"?pageSize=2&q="_s + encoded(u"trashed=false and ('%1' in parents)"_s.arg(folder));
    QStringList names;
    QString token;
    int pages = 0;
    do {
        const QJsonObject page = m_client->get(query + (token.isEmpty() ? QString() : u"&pageToken="_s + token)).json;
        const QJsonArray found = page["files"_L1].toArray();
        for (const QJsonValue &file : found)
            names.append(file["name"_L1].toString());
        token = page["nextPageToken"_L1].toString();
        if (++pages == 1) {
            // Neither lost nor doubled by what happens between two pages.
            create(u"file 5"_s, "x", folder);
            QCOMPARE(m_client->get(files + u"?pageToken="_s + token).reason(), u"invalidParameter"_s);
        }
    } while (!token.isEmpty() && pages < 10);
    QCOMPARE(names.join(u','), u"file 0,file 1,file 2,file 3,file 4,file 5"_s);
    QCOMPARE(pages, 3);
}

void DriveApiTest::movesFollowTheRules() {
    const QString outer = createFolder(u"Outer"_s);
    const QString inner = createFolder(u"Inner"_s, outer);
    const QString id = create(u"a.txt"_s, "a");
    const QString root = m_client->get(files + u"/root?fields=id"_s).json["id"_L1].toString();
    const auto move = [&](const QString &file, const QString &parameters, const QJsonObject &body = {}) {
        return m_client->json("PATCH", files + u'/' + file + u"?fields=*&"_s + parameters, body);
    };
    // A rename in one folder names it on both sides.
    GoogleClient::Answer answer = move(id, u"addParents=%1&removeParents=%1"_s.arg(root), {{"name"_L1, "b.txt"_L1}});
    QCOMPARE(answer.json["parents"_L1].toArray(), QJsonArray{root});
    QCOMPARE(contentOf(m_google->pathOf(u"b.txt"_s)), QByteArray("a"));

    QCOMPARE(move(id, u"addParents="_s + inner).reason(), u"cannotAddParent"_s);
    QCOMPARE(move(id, u"removeParents="_s + root).status, 403);
    QCOMPARE(move(outer, u"addParents=%1&removeParents=%2"_s.arg(inner, root)).status, 403);
    QCOMPARE(move(inner, u"addParents=%1&removeParents=%2"_s.arg(id, outer)).reason(), u"parentNotAFolder"_s);
    QCOMPARE(move(id, u"addParents=nowhere&removeParents="_s + root).status, 404);

    answer = move(id, u"addParents=%1&removeParents=%2"_s.arg(inner, root));
    QCOMPARE(answer.json["parents"_L1].toArray(), QJsonArray{inner});
    QCOMPARE(contentOf(m_google->pathOf(u"Outer/Inner/b.txt"_s)), QByteArray("a"));
    // Two files of one name are two files.
    const QString twin = create(u"b.txt"_s, "twin", inner);
    QCOMPARE(contentOf(m_google->pathOf(u"Outer/Inner/b (2).txt"_s)), QByteArray("twin"));
    QCOMPARE(namesFor(u"name='B.TXT'"_s), (QStringList{u"b.txt"_s, u"b.txt"_s}));
}

void DriveApiTest::trashAndChangesTellTheStory() {
    const QString folder = createFolder(u"F"_s);
    const QString inside = create(u"in.txt"_s, "in", folder);
    const QString other = create(u"other.txt"_s, "o");
    const QString token = startToken();

    m_client->json("PATCH", files + u'/' + folder + u"?fields="_s, {{"trashed"_L1, true}});
    QVERIFY(!QFile::exists(m_google->pathOf(u"F"_s)));
    QCOMPARE(namesFor(u"trashed=false"_s), QStringList{u"other.txt"_s});
    QCOMPARE(namesFor(u"trashed=true"_s), (QStringList{u"F"_s, u"in.txt"_s}));
    const QJsonObject hidden = m_client->get(files + u'/' + inside + u"?fields=*"_s).json;
    QCOMPARE(hidden["trashed"_L1], QJsonValue(true));
    QCOMPARE(hidden["explicitlyTrashed"_L1], QJsonValue(false));
    QCOMPARE(m_client->get(files + u'/' + inside + u"?alt=media"_s).body, QByteArray("in"));
    QCOMPARE(m_client->send("DELETE", files + u'/' + other, {}, {}).status, 204);

    const QJsonObject page = m_client->get(u"/drive/v3/changes?fields=*&pageToken="_s + token).json;
    const QJsonArray changes = page["changes"_L1].toArray();
    QCOMPARE(changes.size(), 2);
    QCOMPARE(changes[0]["fileId"_L1].toString(), folder);
    QCOMPARE(changes[0]["file"_L1]["trashed"_L1], QJsonValue(true));
    QVERIFY(changes[0]["file"_L1]["parents"_L1].toArray().size() == 1);
    QCOMPARE(changes[1]["fileId"_L1].toString(), other);
    QCOMPARE(changes[1]["removed"_L1], QJsonValue(true));
    const QString next = page["newStartPageToken"_L1].toString();
    QVERIFY(m_client->get(u"/drive/v3/changes?pageToken="_s + next).json["changes"_L1].toArray().isEmpty());

    m_client->json("PATCH", files + u'/' + folder, {{"trashed"_L1, false}});
    QCOMPARE(contentOf(m_google->pathOf(u"F/in.txt"_s)), QByteArray("in"));
}

void DriveApiTest::changesComeInPages() {
    const QString token = startToken();
    QStringList made;
    for (int i = 0; i < 5; ++i)
        made.append(create(u"f%1"_s.arg(i), "x"));
    m_client->json("PATCH", files + u'/' + made[0], {{"name"_L1, "again"_L1}});
    made.append(made.takeFirst());
    QStringList seen;
    QString at = token;
    QJsonObject page;
    for (int pages = 0; pages < 10 && !page.contains("newStartPageToken"_L1); ++pages) {
        page = m_client->get(u"/drive/v3/changes?pageSize=2&pageToken="_s + at).json;
        const QJsonArray changes = page["changes"_L1].toArray();
        for (const QJsonValue &change : changes)
            seen.append(change["fileId"_L1].toString());
        at = page["nextPageToken"_L1].toString();
    }
    // A file that changed twice is listed once, at its last change.
    QCOMPARE(seen, made);
}

void DriveApiTest::otherAppsFilesAreUnseen() {
    const QString token = startToken();
    const QJsonObject foreign = m_google->control("POST", u"/files"_s,
                                                  {{"action"_L1, "write"_L1},
                                                   {"path"_L1, "theirs.txt"_L1},
                                                   {"content"_L1, "eA=="_L1},
                                                   {"app"_L1, "someone else"_L1}});
    create(u"mine.txt"_s, "x");
    QCOMPARE(namesFor(u"trashed=false"_s), QStringList{u"mine.txt"_s});
    QCOMPARE(m_client->get(files + u'/' + foreign["id"_L1].toString()).reason(), u"notFound"_s);
    QCOMPARE(m_client->get(u"/drive/v3/changes?pageToken="_s + token).json["changes"_L1].toArray().size(), 1);
}

void DriveApiTest::refusals_data() {
    QTest::addColumn<QByteArray>("method");
    QTest::addColumn<QString>("path");
    QTest::addColumn<QByteArray>("body");
    QTest::addColumn<int>("status");
    QTest::addColumn<QString>("reason");
    const auto row = [](const char *name, const QByteArray &method, const QString &path, const QByteArray &body,
                        int status,
                        const QString &reason) { QTest::newRow(name) << method << path << body << status << reason; };
    const QString upload = u"/upload/drive/v3/files"_s;
    row("unknown call", "GET", u"/drive/v3/nothing"_s, {}, 404, u"notFound"_s);
    row("other version", "GET", u"/drive/v2/files"_s, {}, 404, u"notFound"_s);
    row("wrong method", "PUT", files + u"/root"_s, {}, 404, u"notFound"_s);
    row("unknown parameter", "GET", files + u"?query=x"_s, {}, 400, u"badRequest"_s);
    row("repeated parameter", "GET", files + u"?pageSize=1&pageSize=2"_s, {}, 400, u"badRequest"_s);
    row("not UTF-8", "GET", files + u"?q=%FF"_s, {}, 400, u"badRequest"_s);
    row("broken search", "GET", files + u"?q=name"_s, {}, 400, u"invalid"_s);
    row("page size", "GET", files + u"?pageSize=1001"_s, {}, 400, u"invalidParameter"_s);
    row("fields", "GET", files + u"?fields=id"_s, {}, 400, u"invalidParameter"_s);
    row("unknown folder", "GET", files + u"?q="_s + encoded(u"'nowhere' in parents"_s), {}, 404, u"notFound"_s);
    row("unknown file", "GET", files + u"/nowhere"_s, {}, 404, u"notFound"_s);
    row("folder's content", "GET", files + u"/root?alt=media"_s, {}, 403, u"fileNotDownloadable"_s);
    row("about without fields", "GET", u"/drive/v3/about"_s, {}, 400, u"required"_s);
    row("changes without token", "GET", u"/drive/v3/changes"_s, {}, 400, u"required"_s);
    row("token of the future", "GET", u"/drive/v3/changes?pageToken=999999"_s, {}, 400, u"invalidParameter"_s);
    row("not JSON", "POST", files, "name", 400, u"parseError"_s);
    row("unwritable member", "POST", files, R"({"size":"5"})", 403, u"fieldNotWritable"_s);
    row("unknown parent", "POST", files, R"({"parents":["nowhere"]})", 404, u"notFound"_s);
    row("two parents", "POST", files, R"({"parents":["root","root"]})", 403, u"multipleParentsNotSupported"_s);
    row("parents in a change", "PATCH", files + u"/root"_s, R"({"parents":["x"]})", 403, u"fieldNotWritable"_s);
    row("time", "POST", files, R"({"modifiedTime":"yesterday"})", 400, u"badRequest"_s);
    row("the root", "PATCH", files + u"/root"_s, R"({"name":"x"})", 403, u"insufficientFilePermissions"_s);
    row("upload type", "POST", upload + u"?uploadType=other"_s, "x", 400, u"invalidParameter"_s);
    row("upload to nowhere", "PATCH", upload + u"/nowhere?uploadType=media"_s, "x", 404, u"notFound"_s);
    row("upload session", "POST", upload + u"?uploadType=resumable&upload_id=x"_s, "x", 404, u"notFound"_s);
}

void DriveApiTest::refusals() {
    QFETCH(QByteArray, method);
    QFETCH(QString, path);
    QFETCH(QByteArray, body);
    const GoogleClient::Answer answer = m_client->send(method, path, body, {{"Content-Type", "application/json"}});
    QTEST(answer.status, "status");
    QTEST(answer.reason(), "reason");
    QCOMPARE(answer.json["error"_L1]["code"_L1].toInt(), answer.status);
    QVERIFY(!answer.json["error"_L1]["message"_L1].toString().isEmpty());
}

QTEST_GUILESS_MAIN(DriveApiTest)
#include "DriveApiTest.moc"
