// SPDX-License-Identifier: LicenseRef-Quillmount
#include "App/Service/PeriodicCheckIn.h"
#include "App/Support/Paths.h"
#include "App/Support/Preferences.h"
#include "Platform/Testing/ScopedPlatform.h"
#include "Tests/App/Auth/TokenServer.h"
#include "Tests/Support/Started.h"
#include "Tests/Support/WaitFor.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QJsonDocument>
#include <QRegularExpression>
#include <QTest>

#include <algorithm>

using namespace quillmount;
using namespace Qt::StringLiterals;
using namespace std::chrono_literals;

// The service as it is asked and believed, over real connections.
class QuillmountServerTest : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void init();
    void cleanup();

    void asksOnlyWhatIsConfigured_data();
    void asksOnlyWhatIsConfigured();
    void tellsWhatItRunsOn();
    void registersWithAnAccount();
    void keepsWhatItHad_data();
    void keepsWhatItHad();
    void losesTheTokenThatIsNotKnown();
    void believesNothingFromBeforeADisconnect_data();
    void believesNothingFromBeforeADisconnect();
    void keepsItsNameWhileTheKeyringIsLocked();
    void reportsOnce();
    void checksInEverySixHours_data();
    void checksInEverySixHours();

private:
    [[nodiscard]] QJsonObject sent(qsizetype request) const {
        return QJsonDocument::fromJson(m_service->requests().value(request).body).object();
    }
    [[nodiscard]] QByteArray requestLine(qsizetype request) const {
        return m_service->requests().value(request).head.split('\r').first();
    }
    void answer(const QByteArray &json) { m_service->setAnswer("200 OK", json); }
    [[nodiscard]] std::optional<QString> kept(const QString &account) const {
        const auto found = m_platform->secretStore().find(u"com.orvane.quillmount"_s, account);
        return found.data ? std::optional(QString::fromUtf8(*found.data)) : std::nullopt;
    }
    void keep(const QString &account, const QByteArray &data) {
        m_platform->secretStore().add(u"com.orvane.quillmount"_s, account, data);
    }
    // As if an account were connected.
    void connectAccount();

    std::unique_ptr<ScopedPlatform> m_platform;
    std::unique_ptr<TokenServer> m_service;
    std::unique_ptr<TokenServer> m_google;
    std::unique_ptr<QuillmountServer> m_server;
};

void QuillmountServerTest::init() {
    m_platform = std::make_unique<ScopedPlatform>();
    m_service = std::make_unique<TokenServer>();
    m_google = std::make_unique<TokenServer>();
    m_server = std::make_unique<QuillmountServer>();
    MemoryBundle &bundle = m_platform->bundle();
    bundle.setInfoString(u"QMServiceURL"_s, m_service->url().resolved(QUrl(u"/"_s)).toString());
    bundle.setInfoString(u"QMGoogleClientID"_s, u"id"_s);
    bundle.setInfoString(u"QMGoogleClientSecret"_s, u"secret"_s);
    bundle.setInfoString(u"QMGoogleTokenEndpoint"_s, m_google->url().toString());
    answer("{}");
}

void QuillmountServerTest::cleanup() {
    m_server.reset();
    handleEvents();
    m_service.reset();
    m_google.reset();
    m_platform.reset();
}

void QuillmountServerTest::connectAccount() {
    const QString path = Paths::engineConfig();
    QVERIFY(QDir().mkpath(QFileInfo(path).path()));
    QFile file(path);
    QVERIFY(file.open(QIODevice::WriteOnly));
    file.write("[quillmount]\ntype = drive\ntoken = {\"refresh_token\":\"refresh\"}\n");
}

void QuillmountServerTest::asksOnlyWhatIsConfigured_data() {
    QTest::addColumn<QString>("url");
    QTest::addColumn<bool>("isUsable");
    QTest::newRow("none") << u""_s << false;
    QTest::newRow("TLS") << u"https://service.example"_s << true;
    QTest::newRow("this machine") << u"http://127.0.0.1:8080/"_s << true;
    QTest::newRow("not encrypted") << u"http://service.example"_s << false;
    QTest::newRow("a name for this machine") << u"http://localhost"_s << false;
    QTest::newRow("a path") << u"https://service.example/else"_s << false;
    QTest::newRow("a user") << u"https://a:b@service.example"_s << false;
    QTest::newRow("a file") << u"file:///etc/passwd"_s << false;
}

void QuillmountServerTest::asksOnlyWhatIsConfigured() {
    QFETCH(QString, url);
    QFETCH(bool, isUsable);
    m_platform->bundle().setInfoString(u"QMServiceURL"_s, url);
    const auto base = QuillmountServer::baseURL();
    QCOMPARE(base.has_value(), isUsable);
    if (isUsable) {
        QCOMPARE(base->path(), u"/api/v1/"_s);
        return;
    }
    connectAccount();
    const auto ended = started(m_server->registerOrCheckIn());
    m_server->adEvent(1, true);
    QVERIFY(waitFor([&] { return ended->isDone; }));
    QCOMPARE(m_google->connections(), 0);
    QCOMPARE(m_platform->secretStore().items().size(), 0);
}

void QuillmountServerTest::tellsWhatItRunsOn() {
    m_platform->bundle().setInfoString(u"CFBundleShortVersionString"_s, u"1.4"_s);
    m_platform->bundle().setInfoString(u"CFBundleVersion"_s, u"1.2"_s); // no whole number
    answer(R"({"banner": {"id": 1, "title": "t"}, "receivedAt": 0})");
    const auto status = started(m_server->checkIn());
    QVERIFY(waitFor([&] { return status->isDone; }));
    QCOMPARE(requestLine(0), "POST /api/v1/checkin HTTP/1.1");
    QVERIFY(!m_service->requests().first().head.toLower().contains("authorization:"));
    QVERIFY(m_service->requests().first().head.toLower().contains("content-type: application/json\r\n"));
    const QJsonObject told = sent(0);
    QCOMPARE(told.keys(), QStringList({u"arch"_s, u"build"_s, u"install_id"_s, u"macos"_s, u"version"_s}));
    QCOMPARE(told.value("version"_L1), u"1.4"_s);
    QCOMPARE(told.value("build"_L1), 0);
    QVERIFY(
        QRegularExpression(u"^[1-9][0-9]*\\.[0-9]+\\.[0-9]+$"_s).match(told.value("macos"_L1).toString()).hasMatch());
    const QString id = told.value("install_id"_L1).toString();
    QVERIFY(QRegularExpression(u"^[0-9A-F]{8}(-[0-9A-F]{4}){3}-[0-9A-F]{12}$"_s).match(id).hasMatch());
    QCOMPARE(kept(u"installID"_s), id);
    // What the service says of the time is not believed.
    QCOMPARE(status->value.value()->receivedAt, m_platform->clock().now());
    QCOMPARE(QuillmountServer::cached(), status->value.value());
}

void QuillmountServerTest::registersWithAnAccount() {
    connectAccount();
    keep(u"installID"_s, "THE-ID");
    answer(R"({"install_token": "the-token"})");
    auto ended = started(m_server->registerOrCheckIn());
    QVERIFY(waitFor([&] { return ended->isDone; }));
    QCOMPARE(requestLine(0), "POST /api/v1/register HTTP/1.1");
    QCOMPARE(sent(0).value("install_id"_L1), u"THE-ID"_s);
    QCOMPARE(sent(0).value("id_token"_L1), TokenServer::goodTokens().value("id_token"_L1));
    QCOMPARE(kept(u"installToken"_s), u"the-token"_s);
    ended = started(m_server->registerOrCheckIn());
    QVERIFY(waitFor([&] { return ended->isDone; }));
    QCOMPARE(requestLine(1), "POST /api/v1/checkin HTTP/1.1");
    QVERIFY(m_service->requests().last().head.contains("Authorization: Bearer the-token\r\n"));
    QCOMPARE(m_google->requests().size(), 1);
}

void QuillmountServerTest::keepsWhatItHad_data() {
    QTest::addColumn<QByteArray>("status");
    QTest::addColumn<QByteArray>("body");
    QTest::newRow("error") << "200 OK"_ba
                           << R"({"error": "internal"})"_ba;
    QTest::newRow("error and its status") << "500 Internal"_ba
                                          << R"({"error": "internal"})"_ba;
    QTest::newRow("no JSON") << "200 OK"_ba
                             << "<html>"_ba;
    QTest::newRow("no object") << "200 OK"_ba
                               << "[]"_ba;
    QTest::newRow("no status") << "200 OK"_ba
                               << R"({"banner": 1})"_ba;
    QTest::newRow("too long") << "200 OK"_ba
                              << "{\"a\": \"" + QByteArray(300 * 1024, 'x') + "\"}";
    QTest::newRow("elsewhere") << "302 Found\r\nLocation: file:///etc/passwd"_ba << QByteArray();
}

void QuillmountServerTest::keepsWhatItHad() {
    QFETCH(QByteArray, status);
    QFETCH(QByteArray, body);
    answer(R"({"banner": {"id": 1, "title": "t"}})");
    auto first = started(m_server->checkIn());
    QVERIFY(waitFor([&] { return first->isDone; }));
    m_service->setAnswer(status, body);
    const auto second = started(m_server->checkIn());
    QVERIFY(waitFor([&] { return second->isDone; }));
    QVERIFY(!second->value.value());
    QCOMPARE(QuillmountServer::cached(), first->value.value());
}

void QuillmountServerTest::losesTheTokenThatIsNotKnown() {
    keep(u"installToken"_s, "old");
    answer(R"({"error": "Unknown install"})");
    const auto ended = started(m_server->registerOrCheckIn());
    QVERIFY(waitFor([&] { return ended->isDone; }));
    QCOMPARE(kept(u"installToken"_s), std::nullopt);
}

void QuillmountServerTest::believesNothingFromBeforeADisconnect_data() {
    QTest::addColumn<bool>("isRegistration");
    QTest::newRow("register") << true;
    QTest::newRow("check-in") << false;
}

void QuillmountServerTest::believesNothingFromBeforeADisconnect() {
    QFETCH(bool, isRegistration);
    m_service->setRaw("HTTP/1.1 200 OK\r\n", TokenServer::stalling);
    const auto asked = started(isRegistration ? m_server->registerInstall(u"token"_s) : m_server->checkIn());
    QVERIFY(waitFor([&] { return m_service->requests().size() == 1; }));
    const auto forgotten = started(m_server->forget());
    QVERIFY(waitFor([&] { return asked->isDone && forgotten->isDone; }));
    QVERIFY(!asked->value.value());
    QCOMPARE(kept(u"installToken"_s), std::nullopt);
    QCOMPARE(QuillmountServer::cached(), std::nullopt);
}

void QuillmountServerTest::keepsItsNameWhileTheKeyringIsLocked() {
    keep(u"installID"_s, "THE-ID");
    m_platform->secretStore().setLocked(true);
    for (int round = 0; round < 2; ++round) {
        const auto ended = started(m_server->checkIn());
        QVERIFY(waitFor([&] { return ended->isDone; }));
    }
    QCOMPARE(sent(0).value("install_id"_L1), sent(1).value("install_id"_L1));
    QVERIFY(!sent(0).value("install_id"_L1).toString().isEmpty());
    m_platform->secretStore().setLocked(false);
    QCOMPARE(kept(u"installID"_s), u"THE-ID"_s);
}

void QuillmountServerTest::reportsOnce() {
    // The connection ends without an answer, which is no reason to count a click twice.
    m_service->setRaw({}, TokenServer::dropping);
    m_server->adEvent(12, true);
    QVERIFY(waitFor([&] { return m_service->requests().size() == 1; }));
    answer("{}");
    const auto later = started(m_server->checkIn());
    QVERIFY(waitFor([&] { return later->isDone; }));
    QCOMPARE(m_service->requests().size(), 2);
    QCOMPARE(requestLine(0), "POST /api/v1/ads/12/event HTTP/1.1");
    QCOMPARE(m_service->requests().first().body, R"({"type":"click"})");
}

void QuillmountServerTest::checksInEverySixHours_data() {
    QTest::addColumn<int>("hours");
    QTest::addColumn<int>("clockSetBy"); // hours, after the start
    QTest::addColumn<QList<int>>("checkIns");
    QTest::newRow("six hours are not more than six") << 6 << 0 << QList<int>();
    QTest::newRow("every seventh hour") << 15 << 0 << QList<int>{7, 14};
    QTest::newRow("slept meanwhile") << 2 << 8 << QList<int>{1};
    QTest::newRow("clock set back") << 2 << -1000 << QList<int>{1};
}

void QuillmountServerTest::checksInEverySixHours() {
    QFETCH(int, hours);
    QFETCH(int, clockSetBy);
    QFETCH(QList<int>, checkIns);
    PeriodicCheckIn periodic;
    int ended = 0;
    connect(&periodic, &PeriodicCheckIn::adsReceived, this, [&] { ++ended; });
    periodic.start();
    QVERIFY(waitFor([&] { return ended == 1; }));
    m_platform->clock().setNow(m_platform->clock().now() + std::chrono::hours(clockSetBy));
    for (int hour = 1; hour <= hours; ++hour) {
        m_platform->clock().advance(1h);
        const auto expected = 1 + std::ranges::count_if(checkIns, [&](int at) { return at <= hour; });
        QVERIFY(waitFor([&] { return ended == expected; }));
    }
    // One that should not have been would come before this one.
    const auto last = started(periodic.server().checkIn());
    QVERIFY(waitFor([&] { return last->isDone; }));
    QCOMPARE(m_service->requests().size(), checkIns.size() + 2);
}

QTEST_GUILESS_MAIN(QuillmountServerTest)
#include "QuillmountServerTest.moc"
