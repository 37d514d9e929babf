// SPDX-License-Identifier: LicenseRef-Quillmount
#include "Tests/GoogleStandIn/GoogleClient.h"

#include <QElapsedTimer>
#include <QJsonArray>
#include <QNetworkProxy>
#include <QTcpSocket>
#include <QTest>

#include <memory>

using namespace Qt::StringLiterals;
using namespace quillmount;

// What neither the engine nor a sign-in would notice if it were wrong.
class ServiceTest : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void init();
    void cleanup();

    void changesComeInPages();
    void otherAppsFilesAreUnseen();
    void mannersTakeTimeAndRefuseWhatIsTooMuch();
    void faultsMustMakeSense();
    void strangersAreTurnedAway();

private:
    GoogleClient::Answer create(const QString &name) {
        return m_client->json("POST", u"/drive/v3/files"_s, {{"name"_L1, name}});
    }

    std::unique_ptr<LocalGoogle> m_google;
    std::unique_ptr<GoogleClient> m_client;
};

void ServiceTest::init() {
    m_google = std::make_unique<LocalGoogle>();
    m_client = std::make_unique<GoogleClient>(*m_google);
}

void ServiceTest::cleanup() {
    m_client.reset();
    m_google.reset();
}

void ServiceTest::changesComeInPages() {
    QString at = m_client->get(u"/drive/v3/changes/startPageToken"_s).json["startPageToken"_L1].toString();
    QStringList made;
    for (int i = 0; i < 5; ++i)
        made.append(create(u"f%1"_s.arg(i)).json["id"_L1].toString());
    m_google->rename(u"f0"_s, u"renamed"_s);
    made.append(made.takeFirst());
    QStringList seen;
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

void ServiceTest::otherAppsFilesAreUnseen() {
    const QJsonObject foreign = m_google->control("POST", u"/files"_s,
                                                  {{"action"_L1, "write"_L1},
                                                   {"path"_L1, "theirs.txt"_L1},
                                                   {"content"_L1, "eA=="_L1},
                                                   {"app"_L1, "someone else"_L1}});
    create(u"mine.txt"_s);
    const QJsonArray files = m_client->get(u"/drive/v3/files"_s).json["files"_L1].toArray();
    QCOMPARE(files.size(), 1);
    QCOMPARE(files[0]["name"_L1].toString(), u"mine.txt"_s);
    QCOMPARE(m_client->get(u"/drive/v3/files/"_s + foreign["id"_L1].toString()).reason(), u"notFound"_s);
}

void ServiceTest::mannersTakeTimeAndRefuseWhatIsTooMuch() {
    const QString about = u"/drive/v3/about?fields=storageQuota"_s;
    m_google->control("POST", u"/manners"_s, {{"latency"_L1, 50}, {"insertLatency"_L1, 200}});
    QElapsedTimer timer;
    timer.start();
    QCOMPARE(m_client->get(about).status, 200);
    const qint64 call = timer.restart();
    QCOMPARE(create(u"a"_s).status, 200);
    QVERIFY(call >= 50 && timer.elapsed() >= 250);

    // So slow a rate that nothing comes back to it within the test.
    m_google->control("POST", u"/manners"_s, {{"insertsPerSecond"_L1, 0.001}, {"burst"_L1, 2000}});
    QList<int> statuses;
    for (int i = 0; i < 3; ++i)
        statuses.append(create(u"a"_s).status);
    QCOMPARE(statuses, (QList{200, 200, 403}));
    QCOMPARE(m_client->get(about).status, 200);
    m_google->control("POST", u"/manners"_s, {});
    QCOMPARE(create(u"a"_s).status, 200);
}

void ServiceTest::faultsMustMakeSense() {
    // A test that switches on what does not exist would see nothing go wrong.
    for (const QJsonObject &fault :
         {QJsonObject{{"kind"_L1, "answer"_L1}}, {{"kind"_L1, "drip"_L1}}, {{"kind"_L1, "drop"_L1}, {"after"_L1, 5}}})
        QVERIFY_THROWS_EXCEPTION(LocalGoogle::Failure, m_google->fault(fault));
    QVERIFY_THROWS_EXCEPTION(LocalGoogle::Failure, m_google->control("POST", u"/manners"_s, {{"speed"_L1, 1}}));
    QVERIFY_THROWS_EXCEPTION(LocalGoogle::Failure, m_google->setNetwork(u"down"_s));
}

void ServiceTest::strangersAreTurnedAway() {
    QCOMPARE(m_client->get(u"https://www.example.com/"_s).status, 0);
    QCOMPARE(m_google->requests().last()["status"_L1].toInt(), 403);
    const QUrl control(m_google->controlAddress());
    QTcpSocket socket;
    socket.setProxy(QNetworkProxy::NoProxy);
    socket.connectToHost(control.host(), quint16(control.port()));
    socket.write("GET /requests HTTP/1.1\r\nHost: 127.0.0.1\r\nAuthorization: Bearer x\r\n\r\n");
    QVERIFY(socket.waitForReadyRead());
    QCOMPARE(socket.readLine().trimmed(), "HTTP/1.1 401 Unauthorized");
}

QTEST_GUILESS_MAIN(ServiceTest)
#include "ServiceTest.moc"
