// SPDX-License-Identifier: LicenseRef-Quillmount
#include "App/Service/CheckInState.h"
#include "App/Service/QuillmountServer.h"
#include "App/Support/Preferences.h"
#include "Platform/Testing/ScopedPlatform.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QSignalSpy>
#include <QTest>

using namespace quillmount;
using namespace Qt::StringLiterals;
using namespace std::chrono_literals;

// What counts as a status, and how long its notice is shown.
class ServerStatusTest : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void decodesStrictly_data();
    void decodesStrictly();
    void keepsWhatItReads();
    void noticeExpires_data();
    void noticeExpires();
    void noticeIsClosedForGood();
};

namespace {

QJsonObject parsed(const QByteArray &json) {
    return QJsonDocument::fromJson(json).object();
}

const QByteArray ad = R"({"id": 3, "title": "t", "width": 320, "height": 200, "mode": "random", "interval_min": 30,
    "interval_max": 60, "duration_sec": 20, "max_per_day": 4, "image_url": "https://host/picture"})";

void keepStatus(const ServerStatus &status) {
    Platform::current().userDefaults->set(Preferences::Key::serverStatus.toString(),
                                          QJsonDocument(status.toJson()).toJson());
}

} // namespace

void ServerStatusTest::decodesStrictly_data() {
    QTest::addColumn<QByteArray>("json");
    QTest::addColumn<bool>("isStatus");
    const auto row = [](const char *name, const QByteArray &json, bool isStatus) {
        QTest::newRow(name) << json << isStatus;
    };
    const auto banner = [](const QByteArray &id) { return R"({"banner": {"title": "t", "id": )" + id + "}}"; };
    row("empty", "{}", true);
    row("unknown members", R"({"more": [1, {}]})", true);
    row("null stands for a missing one", R"({"banner": null, "ads": null})", true);
    row("no ads", R"({"ads": []})", true);
    row("one ad", R"({"ads": [)" + ad + "]}", true);
    row("an ad without a member", R"({"ads": [)" + QByteArray(ad).replace("\"max_per_day\": 4, ", "") + "]}", false);
    row("an ad that is none", R"({"ads": [)" + ad + ", 7]}", false);
    row("ads of another type", R"({"ads": {}})", false);
    row("banner of another type", R"({"banner": "text"})", false);
    row("banner without a title", R"({"banner": {"id": 1}})", false);
    row("title of another type", R"({"banner": {"id": 1, "title": 2}})", false);
    row("required member null", R"({"banner": {"id": 1, "title": null}})", false);
    row("optional member null", R"({"banner": {"id": 1, "title": "t", "url": null}})", true);
    row("optional member of another type", R"({"banner": {"id": 1, "title": "t", "url": 5}})", false);
    row("whole number with a point", banner("7.0"), true);
    row("largest number", banner("9223372036854775807"), true);
    row("one more", banner("9223372036854775808"), false);
    row("fraction", banner("7.5"), false);
    row("huge number", banner("1e30"), false);
    row("number as text", banner(R"("7")"), false);
    row("truth", banner("true"), false);
    row("time of another type", R"({"receivedAt": "now"})", false);
    row("time beyond all calendars", R"({"receivedAt": 1e300})", false);
}

void ServerStatusTest::decodesStrictly() {
    QFETCH(QByteArray, json);
    QFETCH(bool, isStatus);
    QCOMPARE(ServerStatus::fromJson(parsed(json)).has_value(), isStatus);
}

void ServerStatusTest::keepsWhatItReads() {
    const QByteArray json = R"({"banner": {"id": 5, "title": "t", "body": "b", "url": "u", "url_label": "l",
        "level": "warning"}, "ads": [)" +
                            ad + "]}";
    auto status = ServerStatus::fromJson(parsed(json));
    QVERIFY(status);
    QCOMPARE(status->banner->urlLabel, u"l"_s);
    QCOMPARE(status->ads.first().durationSec, 20);
    // 1 January 2026 is 9,131 days after the first of 2001.
    status->receivedAt = Clock::Instant(1'767'225'600'500ms);
    const QJsonObject written = status->toJson();
    QCOMPARE(written.value("receivedAt"_L1).toDouble(), 9131 * 86400.0 + 0.5);
    QCOMPARE(ServerStatus::fromJson(written), status);
}

void ServerStatusTest::noticeExpires_data() {
    QTest::addColumn<qint64>("age"); // seconds
    QTest::addColumn<bool>("isShown");
    constexpr qint64 day = 86400;
    QTest::newRow("new") << qint64(0) << true;
    QTest::newRow("almost a week") << 7 * day - 3600 << true;
    QTest::newRow("a week") << 7 * day << false;
    QTest::newRow("from a clock that was a little fast") << qint64(-3600) << true;
    QTest::newRow("from next week") << -7 * day << false;
}

void ServerStatusTest::noticeExpires() {
    QFETCH(qint64, age);
    QFETCH(bool, isShown);
    const ScopedPlatform platform;
    CheckInState state;
    ServerStatus status;
    status.banner = ServerBanner{5, u"t"_s, {}, {}, {}, {}};
    status.receivedAt = platform.clock().now() - std::chrono::seconds(age);
    keepStatus(status);
    state.recompute();
    QCOMPARE(state.visibleBanner().has_value(), isShown);
}

void ServerStatusTest::noticeIsClosedForGood() {
    const ScopedPlatform platform;
    CheckInState state;
    const QSignalSpy changes(&state, &CheckInState::bannerChanged);
    const auto show = [&](qint64 id) {
        ServerStatus status;
        status.banner = ServerBanner{id, u"t"_s, {}, {}, {}, {}};
        status.receivedAt = platform.clock().now();
        keepStatus(status);
        state.recompute();
        return state.visibleBanner().has_value();
    };
    QVERIFY(show(5));
    state.dismissBanner();
    QVERIFY(!state.visibleBanner());
    QCOMPARE(changes.size(), 2);
    QVERIFY(!show(5));
    QVERIFY(show(6));
    state.dismissBanner();
    QVERIFY(show(5)); // only the last one is remembered
}

QTEST_GUILESS_MAIN(ServerStatusTest)
#include "ServerStatusTest.moc"
