// SPDX-License-Identifier: LicenseRef-Quillmount
#include "Tests/GoogleStandIn/GoogleClient.h"
#include "Tests/Support/TestFiles.h"

#include <QCryptographicHash>
#include <QDir>
#include <QFile>
#include <QJsonArray>
#include <QTest>

#include <memory>

using namespace Qt::StringLiterals;
using namespace quillmount;

namespace {
QString md5(const QByteArray &content) {
    return QString::fromLatin1(QCryptographicHash::hash(content, QCryptographicHash::Md5).toHex());
}
} // namespace

// Content on its way in: whole, in parts and in chunks, unbroken and broken.
class UploadTest : public QObject {
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
    void fullStorageRefusesEveryForm();
    void abandonedSessionsAreForgotten();

private:
    int filesCalled(const QString &name) {
        const QString query = u"name='%1'"_s.arg(name);
        return int(m_client->get(u"/drive/v3/files?q="_s + encoded(query)).json["files"_L1].toArray().size());
    }

    std::unique_ptr<LocalGoogle> m_google;
    std::unique_ptr<GoogleClient> m_client;
};

void UploadTest::init() {
    m_google = std::make_unique<LocalGoogle>();
    m_client = std::make_unique<GoogleClient>(*m_google);
}

void UploadTest::cleanup() {
    m_client.reset();
    m_google.reset();
}

void UploadTest::uploadsArriveByteForByte_data() {
    QTest::addColumn<QByteArray>("content");
    QTest::newRow("empty") << QByteArray();
    QTest::newRow("looks like a boundary") << QByteArray("a\r\n--frontie\r\n--frontie");
    QTest::newRow("line ends at both ends") << QByteArray("\r\nx\r\n");
    QTest::newRow("larger than a buffer") << patterned(3'000'001);
}

void UploadTest::uploadsArriveByteForByte() {
    QFETCH(QByteArray, content);
    const QJsonObject metadata{{"name"_L1, "a.bin"_L1}, {"modifiedTime"_L1, "2021-02-03T04:05:06.789123456Z"_L1}};
    const GoogleClient::Answer made = m_client->upload(metadata, content);
    QCOMPARE(made.status, 200);
    QCOMPARE(made.json["size"_L1], QJsonValue(QString::number(content.size())));
    QCOMPARE(made.json["md5Checksum"_L1].toString(), md5(content));
    QCOMPARE(made.json["modifiedTime"_L1].toString(), u"2021-02-03T04:05:06.789Z"_s);
    QCOMPARE(contentOf(m_google->pathOf(u"a.bin"_s)), content);

    const QString id = made.json["id"_L1].toString();
    QCOMPARE(m_client->get(u"/drive/v3/files/%1?alt=media"_s.arg(id)).body, content);

    const GoogleClient::Answer changed = m_client->upload({}, content + "more", id);
    QCOMPARE(changed.json["id"_L1].toString(), id);
    QCOMPARE(changed.json["md5Checksum"_L1].toString(), md5(content + "more"));
    QVERIFY(changed.json["modifiedTime"_L1] != made.json["modifiedTime"_L1]);
    QCOMPARE(contentOf(m_google->pathOf(u"a.bin"_s)), content + "more");
}

void UploadTest::brokenMultipartLeavesNothing_data() {
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

void UploadTest::brokenMultipartLeavesNothing() {
    QFETCH(QByteArray, type);
    QFETCH(QByteArray, body);
    const GoogleClient::Answer answer =
        m_client->send("POST", u"/upload/drive/v3/files?uploadType=multipart"_s, body, {{"Content-Type", type}});
    QCOMPARE(answer.status, 400);
    QCOMPARE(filesCalled(u"n"_s), 0);
    QVERIFY(m_client->get(u"/drive/v3/about?fields=storageQuota"_s).json["storageQuota"_L1]["usage"_L1] == "0"_L1);
}

void UploadTest::chunksMakeAFile() {
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
    QCOMPARE(filesCalled(u"big"_s), 1);
}

void UploadTest::brokenChunkIsRefusedAndCanBeSentAgain_data() {
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

void UploadTest::brokenChunkIsRefusedAndCanBeSentAgain() {
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

void UploadTest::fullStorageRefusesEveryForm() {
    const QString id = m_client->upload({{"name"_L1, "a"_L1}}, "12345").json["id"_L1].toString();
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

void UploadTest::abandonedSessionsAreForgotten() {
    // Each holds a file that is open; a client that is killed again and again must not use up what the program may
    // open.
    const QString first = m_client->startUpload({{"name"_L1, "first"_L1}}, 1);
    for (int i = 0; i < 100; ++i) {
        QVERIFY(!m_client->startUpload({{"name"_L1, "a"_L1}}, 1).isEmpty());
    }
    const GoogleClient::Headers all{{"Content-Range", "bytes 0-0/1"}};
    QCOMPARE(m_client->send("POST", first, "x", all).status, 404);
    QCOMPARE(QDir(m_google->directory() + u"/.state/staging"_s).entryList(QDir::Files).size(), 100);
}

QTEST_GUILESS_MAIN(UploadTest)
#include "UploadTest.moc"
