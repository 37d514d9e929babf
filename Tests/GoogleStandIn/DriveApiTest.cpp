// SPDX-License-Identifier: LicenseRef-Quillmount
#include "Tests/GoogleStandIn/GoogleClient.h"

#include <QCryptographicHash>
#include <QFile>
#include <QJsonArray>
#include <QTest>

#include <memory>

using namespace Qt::StringLiterals;
using namespace quillmount;

namespace {
const QString files = u"/drive/v3/files"_s;

QByteArray contentOf(const QString &path) {
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray("(no such file)");
}

QString md5(const QByteArray &content) {
    return QString::fromLatin1(QCryptographicHash::hash(content, QCryptographicHash::Md5).toHex());
}

QByteArray patterned(qsizetype size) {
    QByteArray content(size, Qt::Uninitialized);
    for (qsizetype i = 0; i < size; ++i) {
        content[i] = char(i * 7 + i / 251);
    }
    return content;
}
} // namespace

/// The calls of the Drive service over the wire: what they do, and what they refuse.
class DriveApiTest : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void init();
    void cleanup();

    void uploadsArriveByteForByte_data();
    void uploadsArriveByteForByte();
    void brokenMultipartLeavesNothing_data();
    void brokenMultipartLeavesNothing();
    void chunksMakeAFile();
    void brokenChunkIsRefusedAndCanBeSentAgain_data();
    void brokenChunkIsRefusedAndCanBeSentAgain();
    void rangesAreHonoured_data();
    void rangesAreHonoured();
    void listingsComeInPages();
    void movesFollowTheRules();
    void trashAndChangesTellTheStory();
    void changesComeInPages();
    void otherAppsFilesAreUnseen();
    void fullStorageRefusesEveryForm();
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
        for (const QJsonValue &file : found) {
            names.append(file["name"_L1].toString());
        }
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

void DriveApiTest::uploadsArriveByteForByte_data() {
    QTest::addColumn<QByteArray>("content");
    QTest::newRow("empty") << QByteArray();
    QTest::newRow("looks like a boundary") << QByteArray("a\r\n--frontie\r\n--frontie");
    QTest::newRow("line ends at both ends") << QByteArray("\r\nx\r\n");
    QTest::newRow("larger than a buffer") << patterned(3'000'001);
}

void DriveApiTest::uploadsArriveByteForByte() {
    QFETCH(QByteArray, content);
    const QJsonObject metadata{{"name"_L1, "a.bin"_L1}, {"modifiedTime"_L1, "2021-02-03T04:05:06.789123456Z"_L1}};
    const GoogleClient::Answer made = m_client->upload(metadata, content);
    QCOMPARE(made.status, 200);
    QCOMPARE(made.json["size"_L1], QJsonValue(QString::number(content.size())));
    QCOMPARE(made.json["md5Checksum"_L1].toString(), md5(content));
    QCOMPARE(made.json["modifiedTime"_L1].toString(), u"2021-02-03T04:05:06.789Z"_s);
    QCOMPARE(contentOf(m_google->pathOf(u"a.bin"_s)), content);

    const QString id = made.json["id"_L1].toString();
    QCOMPARE(m_client->get(files + u'/' + id + u"?alt=media"_s).body, content);

    const GoogleClient::Answer changed = m_client->upload({}, content + "more", id);
    QCOMPARE(changed.json["id"_L1].toString(), id);
    QCOMPARE(changed.json["md5Checksum"_L1].toString(), md5(content + "more"));
    QVERIFY(changed.json["modifiedTime"_L1] != made.json["modifiedTime"_L1]);
    QCOMPARE(contentOf(m_google->pathOf(u"a.bin"_s)), content + "more");
}

void DriveApiTest::brokenMultipartLeavesNothing_data() {
    QTest::addColumn<QByteArray>("type");
    QTest::addColumn<QByteArray>("body");
    const QByteArray good = "multipart/related; boundary=b";
    const QByteArray json = "--b\r\nContent-Type: application/json\r\n\r\n{\"name\":\"n\"}\r\n";
    QTest::newRow("no end") << good << json + "--b\r\n\r\ncontent\r\n--b";
    QTest::newRow("no content") << good << json + "--b--";
    QTest::newRow("third part") << good << json + "--b\r\n\r\nx\r\n--b\r\n\r\ny\r\n--b--";
    QTest::newRow("metadata not JSON") << good
                                       << QByteArray("--b\r\nContent-Type: application/json\r\n\r\nname\r\n"
                                                     "--b\r\n\r\nx\r\n--b--");
    QTest::newRow("metadata of another type")
        << good << QByteArray("--b\r\nContent-Type: text/plain\r\n\r\n{}\r\n--b\r\n\r\nx\r\n--b--");
    QTest::newRow("no boundary") << QByteArray("multipart/related") << json + "--b\r\n\r\nx\r\n--b--";
    QTest::newRow("other boundary") << QByteArray("multipart/related; boundary=c") << json + "--b\r\n\r\nx\r\n--b--";
}

void DriveApiTest::brokenMultipartLeavesNothing() {
    QFETCH(QByteArray, type);
    QFETCH(QByteArray, body);
    const GoogleClient::Answer answer =
        m_client->send("POST", u"/upload/drive/v3/files?uploadType=multipart"_s, body, {{"Content-Type", type}});
    QCOMPARE(answer.status, 400);
    QCOMPARE(namesFor(u"trashed=false"_s), QStringList());
    QVERIFY(m_client->get(u"/drive/v3/about?fields=storageQuota"_s).json["storageQuota"_L1]["usage"_L1] == "0"_L1);
}

void DriveApiTest::chunksMakeAFile() {
    const QByteArray content = patterned(2 * 262'144 + 1000);
    const auto chunk = [&](qint64 from, qint64 to) {
        const QByteArray range = "bytes " + QByteArray::number(from) + '-' + QByteArray::number(to) + "/525288";
        return GoogleClient::Headers{{"Content-Range", range}};
    };
    const QString session = m_client->startUpload({{"name"_L1, "big"_L1}}, content.size());
    QVERIFY(session.startsWith("https://www.googleapis.com/"_L1));

    GoogleClient::Answer answer = m_client->send("POST", session, content.left(262'144), chunk(0, 262'143));
    QCOMPARE(answer.status, 308);
    QCOMPARE(answer.headers["range"], QByteArray("bytes=0-262143"));
    // Sent again by a client that never saw the answer, in part with new bytes.
    answer = m_client->send("POST", session, content.left(2 * 262'144), chunk(0, 2 * 262'144 - 1));
    QCOMPARE(answer.headers["range"], QByteArray("bytes=0-524287"));
    QVERIFY(!QFile::exists(m_google->pathOf(u"big"_s)));
    // The question how far it is.
    answer = m_client->send("PUT", session, {}, {{"Content-Range", "bytes */525288"}});
    QCOMPARE(answer.status, 308);

    for (int attempt = 0; attempt < 2; ++attempt) {
        answer = m_client->send("POST", session, content.mid(524'288), chunk(524'288, 525'287));
        QCOMPARE(answer.status, 200);
        QCOMPARE(answer.json["md5Checksum"_L1].toString(), md5(content));
    }
    QCOMPARE(contentOf(m_google->pathOf(u"big"_s)), content);
    QCOMPARE(namesFor(u"name='big'"_s).size(), 1);
}

void DriveApiTest::brokenChunkIsRefusedAndCanBeSentAgain_data() {
    QTest::addColumn<QByteArray>("range");
    QTest::addColumn<int>("size");
    QTest::newRow("not a range") << QByteArray("0-262143/300000") << 262'144;
    QTest::newRow("other total") << QByteArray("bytes 0-262143/300001") << 262'144;
    QTest::newRow("gap") << QByteArray("bytes 262144-299999/300000") << 37'856;
    QTest::newRow("fewer bytes") << QByteArray("bytes 0-262143/300000") << 262'143;
    QTest::newRow("more bytes") << QByteArray("bytes 0-262143/300000") << 262'145;
    QTest::newRow("not a multiple of 256 KiB") << QByteArray("bytes 0-199999/300000") << 200'000;
    QTest::newRow("beyond the end") << QByteArray("bytes 0-300000/300000") << 300'001;
    QTest::newRow("backwards") << QByteArray("bytes 5-1/300000") << 0;
}

void DriveApiTest::brokenChunkIsRefusedAndCanBeSentAgain() {
    QFETCH(QByteArray, range);
    QFETCH(int, size);
    const QByteArray content = patterned(300'000);
    const QString session = m_client->startUpload({{"name"_L1, "big"_L1}}, content.size());
    QCOMPARE(m_client->send("POST", session, patterned(size), {{"Content-Range", range}}).status, 400);
    const GoogleClient::Answer answer =
        m_client->send("POST", session, content, {{"Content-Range", "bytes 0-299999/300000"}});
    QCOMPARE(answer.status, 200);
    QCOMPARE(answer.json["md5Checksum"_L1].toString(), md5(content));
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
    if (answer.status < 400) {
        QCOMPARE(answer.body, body);
    }
}

void DriveApiTest::listingsComeInPages() {
    const QString folder = createFolder(u"F"_s);
    for (int i = 0; i < 5; ++i) {
        create(u"file %1"_s.arg(i), "x", folder);
    }
    const QString query = files + u"?pageSize=2&q="_s + encoded(u"trashed=false and ('%1' in parents)"_s.arg(folder));
    QStringList names;
    QString token;
    int pages = 0;
    do {
        const QJsonObject page = m_client->get(query + (token.isEmpty() ? QString() : u"&pageToken="_s + token)).json;
        const QJsonArray found = page["files"_L1].toArray();
        for (const QJsonValue &file : found) {
            names.append(file["name"_L1].toString());
        }
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
    for (int i = 0; i < 5; ++i) {
        made.append(create(u"f%1"_s.arg(i), "x"));
    }
    m_client->json("PATCH", files + u'/' + made[0], {{"name"_L1, "again"_L1}});
    made.append(made.takeFirst());
    QStringList seen;
    QString at = token;
    QJsonObject page;
    for (int pages = 0; pages < 10 && !page.contains("newStartPageToken"_L1); ++pages) {
        page = m_client->get(u"/drive/v3/changes?pageSize=2&pageToken="_s + at).json;
        const QJsonArray changes = page["changes"_L1].toArray();
        for (const QJsonValue &change : changes) {
            seen.append(change["fileId"_L1].toString());
        }
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

void DriveApiTest::fullStorageRefusesEveryForm() {
    const QString id = create(u"a"_s, "12345");
    m_google->setQuota(10);
    QCOMPARE(m_client->upload({{"name"_L1, "b"_L1}}, "123456").reason(), u"storageQuotaExceeded"_s);
    QCOMPARE(m_client->upload({}, "12345678901", id).reason(), u"storageQuotaExceeded"_s);
    QCOMPARE(m_client->startUpload({{"name"_L1, "b"_L1}}, 6), QString());
    QCOMPARE(contentOf(m_google->pathOf(u"a"_s)), QByteArray("12345"));
    // What only takes the place of what was there fits.
    QCOMPARE(m_client->upload({}, "1234567890", id).status, 200);
    const QJsonObject quota =
        m_client->get(u"/drive/v3/about?fields=storageQuota"_s).json["storageQuota"_L1].toObject();
    QCOMPARE(quota["limit"_L1], QJsonValue(u"10"_s));
    QCOMPARE(quota["usage"_L1], QJsonValue(u"10"_s));
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
