// SPDX-License-Identifier: LicenseRef-Quillmount
#include "Tests/GoogleStandIn/GoogleClient.h"

#include <QElapsedTimer>
#include <QJsonDocument>
#include <QNetworkProxy>
#include <QTcpSocket>
#include <QTest>

#include <memory>

using namespace Qt::StringLiterals;
using namespace quillmount;

namespace {
const QString tokenAddress = u"https://oauth2.googleapis.com/token"_s;
const QString about = u"/drive/v3/about?fields=storageQuota"_s;
} // namespace

// Who is let in, and everything that can be made to go wrong.
class GrantsAndFaultsTest : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void init();
    void cleanup();

    void refreshing_data();
    void refreshing();
    void callsNeedALivingToken();
    void faultAnswersForTheRequestsItNames();
    void connectionsAreCutWhereTheFaultSays_data();
    void connectionsAreCutWhereTheFaultSays();
    void stalledRequestWaitsUntilTheFaultIsCleared();
    void slowMeansSlow();
    void mannersTakeTimeAndRefuseWhatIsTooMuch();
    void networkStates();
    void strangersAreTurnedAway();
    void requestsAreNotedWithoutSecrets();

private:
    QString refreshToken() const { return QJsonDocument::fromJson(m_google->token())["refresh_token"_L1].toString(); }
    GoogleClient::Answer refresh(const QByteArray &form, const QByteArray &authorization = "Bearer none") {
        return m_client->send(
            "POST", tokenAddress, form,
            {{"Content-Type", "application/x-www-form-urlencoded"}, {"Authorization", authorization}});
    }

    std::unique_ptr<LocalGoogle> m_google;
    std::unique_ptr<GoogleClient> m_client;
};

void GrantsAndFaultsTest::init() {
    m_google = std::make_unique<LocalGoogle>();
    m_client = std::make_unique<GoogleClient>(*m_google);
}

void GrantsAndFaultsTest::cleanup() {
    m_client.reset();
    m_google.reset();
}

void GrantsAndFaultsTest::refreshing_data() {
    QTest::addColumn<QByteArray>("form");          // {id}, {secret} and {token} are put in
    QTest::addColumn<QByteArray>("authorization"); // before the base64
    QTest::addColumn<int>("status");
    QTest::addColumn<QString>("error");
    const QByteArray grant = "grant_type=refresh_token&refresh_token={token}";
    const QByteArray inForm = "&client_id={id}&client_secret={secret}";
    const auto row = [](const char *name, const QByteArray &form, const QByteArray &header, int status,
                        const char *error) {
        QTest::newRow(name) << form << header << status << QString::fromLatin1(error);
    };
    row("client in the header", grant, "{id}:{secret}", 200, "");
    row("client in the form", grant + inForm, {}, 200, "");
    row("both ways at once", grant + inForm, "{id}:{secret}", 400, "invalid_request");
    row("wrong secret", grant, "{id}:wrong", 401, "invalid_client");
    row("unknown client", grant, "x:{secret}", 401, "invalid_client");
    row("no client", grant, {}, 401, "invalid_client");
    row("unknown token", "grant_type=refresh_token&refresh_token=x" + inForm, {}, 400, "invalid_grant");
    row("no token", "grant_type=refresh_token" + inForm, {}, 400, "invalid_request");
    row("other grant", "grant_type=password&refresh_token={token}" + inForm, {}, 400, "unsupported_grant_type");
    row("repeated parameter", grant + inForm + "&client_id=x", {}, 400, "invalid_request");
}

void GrantsAndFaultsTest::refreshing() {
    QFETCH(QByteArray, form);
    QFETCH(QByteArray, authorization);
    for (QByteArray *text : {&form, &authorization}) {
        text->replace("{id}", encoded(m_google->clientId()).toLatin1())
            .replace("{secret}", encoded(m_google->clientSecret()).toLatin1())
            .replace("{token}", encoded(refreshToken()).toLatin1());
    }
    const GoogleClient::Answer answer =
        refresh(form, authorization.isEmpty() ? "Bearer none" : "Basic " + authorization.toBase64());
    QTEST(answer.status, "status");
    QTEST(answer.json["error"_L1].toString(), "error");
    if (answer.status == 200) {
        QCOMPARE(answer.json["token_type"_L1].toString(), u"Bearer"_s);
        QCOMPARE(answer.json["expires_in"_L1].toInt(), 3599);
        m_client->setToken(answer.json["access_token"_L1].toString());
        QCOMPARE(m_client->get(about).status, 200);
    }
}

void GrantsAndFaultsTest::callsNeedALivingToken() {
    const auto answerTo = [this](const QByteArray &authorization) {
        return m_client->send("GET", about, {}, {{"Authorization", authorization}});
    };
    QCOMPARE(m_client->get(about).status, 200);
    for (const QByteArray &wrong :
         {QByteArray(), QByteArray("Bearer x"), QByteArray("Basic " + m_client->token()), m_client->token()}) {
        QCOMPARE(answerTo(wrong).status, 401);
        QCOMPARE(answerTo(wrong).reason(), u"authError"_s);
    }
    m_google->expireTokens();
    QCOMPARE(m_client->get(about).status, 401);
    const QByteArray form = "grant_type=refresh_token&refresh_token=" + encoded(refreshToken()).toLatin1() +
                            "&client_id=" + encoded(m_google->clientId()).toLatin1() +
                            "&client_secret=" + encoded(m_google->clientSecret()).toLatin1();
    m_client->setToken(refresh(form).json["access_token"_L1].toString());
    QCOMPARE(m_client->get(about).status, 200);
    m_google->revokeGrant();
    QCOMPARE(m_client->get(about).status, 401);
    QCOMPARE(refresh(form).json["error"_L1].toString(), u"invalid_grant"_s);
    // A new grant does not bring the old one back.
    m_google->grantAgain();
    QCOMPARE(m_client->get(about).status, 401);
    QCOMPARE(GoogleClient(*m_google).get(about).status, 200);
}

void GrantsAndFaultsTest::faultAnswersForTheRequestsItNames() {
    m_google->fault({{"kind"_L1, "answer"_L1},
                     {"status"_L1, 403},
                     {"reason"_L1, "userRateLimitExceeded"_L1},
                     {"method"_L1, "GET"_L1},
                     {"path"_L1, "/drive/v3/about"_L1},
                     {"skip"_L1, 1},
                     {"count"_L1, 2}});
    QList<int> statuses;
    for (int i = 0; i < 5; ++i) {
        QCOMPARE(m_client->get(u"/drive/v3/changes/startPageToken"_s).status, 200);
        const GoogleClient::Answer answer = m_client->get(about);
        statuses.append(answer.status);
        if (answer.status == 403) {
            QCOMPARE(answer.reason(), u"userRateLimitExceeded"_s);
            QCOMPARE(answer.json["error"_L1]["errors"_L1][0]["domain"_L1].toString(), u"usageLimits"_s);
        }
    }
    QCOMPARE(statuses, (QList<int>{200, 403, 403, 200, 200}));
    QVERIFY_THROWS_EXCEPTION(LocalGoogle::Failure, m_google->fault({{"kind"_L1, "answer"_L1}}));
    QVERIFY_THROWS_EXCEPTION(LocalGoogle::Failure, m_google->fault({{"kind"_L1, "drop"_L1}, {"after"_L1, 5}}));
}

void GrantsAndFaultsTest::connectionsAreCutWhereTheFaultSays_data() {
    QTest::addColumn<QString>("of");
    QTest::addColumn<int>("afterBytes");
    QTest::addColumn<bool>("stored");
    QTest::newRow("before the body") << u"request"_s << 0 << false;
    QTest::newRow("in the body") << u"request"_s << 500'000 << false;
    QTest::newRow("done, nothing answered") << u"response"_s << 0 << true;
    QTest::newRow("done, half answered") << u"response"_s << 40 << true;
}

void GrantsAndFaultsTest::connectionsAreCutWhereTheFaultSays() {
    QFETCH(QString, of);
    QFETCH(int, afterBytes);
    m_google->fault({{"kind"_L1, "drop"_L1}, {"path"_L1, "/upload/"_L1}, {"of"_L1, of}, {"afterBytes"_L1, afterBytes}});
    const GoogleClient::Answer answer = m_client->upload({{"name"_L1, "a"_L1}}, QByteArray(1'000'000, 'a'));
    QVERIFY(answer.error != QNetworkReply::NoError);
    QVERIFY(answer.status == 0 || afterBytes > 0);
    QTEST(!m_google->file(u"a"_s).isEmpty(), "stored");
    m_google->clearFaults();
    QCOMPARE(m_client->upload({{"name"_L1, "b"_L1}}, "b").status, 200);
}

void GrantsAndFaultsTest::stalledRequestWaitsUntilTheFaultIsCleared() {
    const int fault = m_google->fault({{"kind"_L1, "stall"_L1}, {"path"_L1, "/drive/v3/about"_L1}, {"count"_L1, 1}});
    QNetworkReply *stalled = m_client->start("GET", about, {}, {});
    const auto seen = [this] {
        const QJsonArray requests = m_google->requests();
        return !requests.isEmpty() && requests.last()["outcome"_L1] == "open"_L1;
    };
    QTRY_VERIFY(seen());
    // Others are served meanwhile, and the one that waits goes on waiting.
    QCOMPARE(m_client->get(u"/drive/v3/changes/startPageToken"_s).status, 200);
    QVERIFY(!stalled->isFinished());
    m_google->clearFault(fault);
    m_client->get(u"/drive/v3/changes/startPageToken"_s);
    // The library asks once more when a kept connection closes unanswered; then nothing is in the way any longer.
    QTRY_VERIFY(stalled->isFinished());
    delete stalled;
}

void GrantsAndFaultsTest::slowMeansSlow() {
    m_client->upload({{"name"_L1, "a"_L1}}, QByteArray(100'000, 'a'));
    const QString id = m_google->file(u"a"_s)["id"_L1].toString();
    m_google->fault({{"kind"_L1, "slow"_L1}, {"query"_L1, "alt=media"_L1}, {"bytesPerSecond"_L1, 200'000}});
    QElapsedTimer timer;
    timer.start();
    QCOMPARE(m_client->get(u"/drive/v3/files/%1?alt=media"_s.arg(id)).body.size(), 100'000);
    QVERIFY(timer.elapsed() >= 400);
}

void GrantsAndFaultsTest::mannersTakeTimeAndRefuseWhatIsTooMuch() {
    const auto create = [this] { return m_client->upload({{"name"_L1, "a"_L1}}, "content").status; };
    m_google->control("POST", u"/manners"_s, {{"latency"_L1, 50}, {"insertLatency"_L1, 200}});
    QElapsedTimer timer;
    timer.start();
    QCOMPARE(m_client->get(about).status, 200);
    const qint64 call = timer.restart();
    QCOMPARE(create(), 200);
    QVERIFY(call >= 50 && timer.elapsed() >= 250);

    // So slow a rate that nothing comes back to it within the test.
    m_google->control("POST", u"/manners"_s, {{"insertsPerSecond"_L1, 0.001}, {"patience"_L1, 2000}});
    QCOMPARE((QList{create(), create(), create()}), (QList{200, 200, 403}));
    QCOMPARE(m_client->get(about).status, 200);
    m_google->control("POST", u"/manners"_s, {});
    QCOMPARE(create(), 200);
    QVERIFY_THROWS_EXCEPTION(LocalGoogle::Failure, m_google->control("POST", u"/manners"_s, {{"speed"_L1, 1}}));
}

void GrantsAndFaultsTest::networkStates() {
    const auto connects = [this] {
        QTcpSocket probe;
        probe.setProxy(QNetworkProxy::NoProxy);
        probe.connectToHost(u"127.0.0.1"_s, quint16(QUrl(m_google->proxy()).port()));
        return probe.waitForConnected();
    };
    QCOMPARE(m_client->get(about).status, 200);
    m_google->setNetwork(u"refused"_s);
    QVERIFY(!connects());
    QCOMPARE(m_client->get(about).status, 0);
    m_google->setNetwork(u"noSuchHost"_s);
    QCOMPARE(m_client->get(about).status, 0);
    QVERIFY(m_google->count(u"connect.refused"_s) > 0);
    m_google->setNetwork(u"silent"_s);
    QNetworkReply *reply = m_client->start("GET", about, {}, {});
    QVERIFY(connects());
    QVERIFY(!reply->isFinished());
    delete reply;
    m_google->setNetwork(u"up"_s);
    QCOMPARE(m_client->get(about).status, 200);
}

void GrantsAndFaultsTest::strangersAreTurnedAway() {
    QCOMPARE(m_client->get(u"https://www.example.com/"_s).status, 0);
    QCOMPARE(m_google->requests().last()["status"_L1].toInt(), 403);
    const auto firstLine = [](const QUrl &server, const QByteArray &request) {
        QTcpSocket socket;
        socket.setProxy(QNetworkProxy::NoProxy);
        socket.connectToHost(server.host(), quint16(server.port()));
        socket.write(request);
        socket.waitForReadyRead();
        return socket.readLine().trimmed();
    };
    const QByteArray plain = "GET http://www.googleapis.com/ HTTP/1.1\r\nHost: www.googleapis.com\r\n\r\n";
    QCOMPARE(firstLine(QUrl(m_google->proxy()), plain), QByteArray("HTTP/1.1 405 Method Not Allowed"));
    const QByteArray control = "GET /requests HTTP/1.1\r\nHost: 127.0.0.1\r\nAuthorization: Bearer x\r\n\r\n";
    QCOMPARE(firstLine(QUrl(m_google->controlAddress()), control), QByteArray("HTTP/1.1 401 Unauthorized"));
}

void GrantsAndFaultsTest::requestsAreNotedWithoutSecrets() {
    const QString session = m_client->startUpload({{"name"_L1, "a"_L1}}, 1);
    m_client->send("POST", session, "x", {{"Content-Range", "bytes 0-0/1"}});
    refresh("grant_type=refresh_token&refresh_token=" + encoded(refreshToken()).toLatin1());
    const QJsonArray requests = m_google->requests();
    QCOMPARE(requests.size(), 3);
    QCOMPARE(requests[1]["kind"_L1].toString(), u"upload.chunk"_s);
    QCOMPARE(requests[1]["received"_L1].toInt(), 1);
    QCOMPARE(requests[2]["status"_L1].toInt(), 401);
    const QByteArray all = QJsonDocument(requests).toJson();
    for (const QByteArray &secret : {m_client->token(), refreshToken().toLatin1(), m_google->clientSecret().toLatin1(),
                                     session.section(u"upload_id="_s, 1).toLatin1()}) {
        QVERIFY(secret.size() > 10 && !all.contains(secret));
    }
    m_google->clearRequests();
    QCOMPARE(m_google->count(u"upload.chunk"_s), 0);
}

QTEST_GUILESS_MAIN(GrantsAndFaultsTest)
#include "GrantsAndFaultsTest.moc"
