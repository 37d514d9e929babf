// SPDX-License-Identifier: LicenseRef-Quillmount
#include "App/Auth/RedirectRequest.h"
#include "App/Auth/AuthPage.h"

#include <QtTest>

#include <numeric>

using namespace quillmount;
using namespace Qt::StringLiterals;

namespace {
const QString expectedState = u"sTaTe-0123456789_abcde"_s;
}

class RedirectRequestTest : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void read_data();
    void read();
    void everyWrongState();
    void responseBytes();
    void pageIsSelfContained();
};

// A code that a sign-in goes on with is in "code"; "denied" ends one; with neither it goes on waiting.
void RedirectRequestTest::read_data() {
    QTest::addColumn<QByteArray>("request");
    QTest::addColumn<QByteArray>("status");
    QTest::addColumn<QString>("code");
    QTest::addColumn<bool>("denied");
    const auto row = [](const char *name, const QByteArray &request, const char *status, const QString &code = {},
                        bool denied = false) {
        QTest::newRow(name) << request << QByteArray(status) << code << denied;
    };
    const char *const ok = "200 OK";
    const char *const bad = "400 Bad Request";
    const char *const none = "404 Not Found";
    const QByteArray state = "state=" + expectedState.toUtf8();
    const auto get = [](const QByteArray &target) {
        return "GET " + target + " HTTP/1.1\r\nHost: 127.0.0.1:4711\r\nAccept: */*\r\n\r\n";
    };

    row("Google's redirect", get("/?" + state + "&code=4/0AdQ-x_y&scope=email%20openid&authuser=0"), ok,
        u"4/0AdQ-x_y"_s);
    row("no path", get("?code=abc&" + state), ok, u"abc"_s);
    row("encoded code", get("/?code=4%2F0A%2Bb%3D%26c%20%C3%A9&" + state), ok, u"4/0A+b=&c é"_s);
    row("decoded once", get("/?code=%252F&" + state), ok, u"%2F"_s);
    row("plus is no space", get("/?code=a+b&" + state), ok, u"a+b"_s);
    row("encoded names and state", get("/?c%6Fde=abc&st%61te=%73TaTe-0123456789_abcde"), ok, u"abc"_s);
    row("value with an equals sign", get("/?code=a=b==&" + state), ok, u"a=b=="_s);
    row("first code counts", get("/?code=first&code=second&" + state), ok, u"first"_s);
    row("error beside a good code", get("/?error=x&code=abc&" + state), ok, u"abc"_s);
    row("any method", "POST /?code=abc&" + state + " HTTP/1.1\r\n\r\n", ok, u"abc"_s);
    row("any host",
        "GET /?code=abc&" + state + " HTTP/1.1\r\nHost: evil.example\r\nOrigin: https://evil.example\r\n\r\n", ok,
        u"abc"_s);
    row("request line only", "GET /?code=abc&" + state, ok, u"abc"_s);
    row("empty lines before it", "\r\n\r\nGET  /?code=abc&" + state + "  HTTP/1.1\r\n", ok, u"abc"_s);
    row("second request behind it", get("/?code=abc&" + state) + get("/?error=x"), ok, u"abc"_s);

    row("state in another case", get("/?code=abc&state=STATE-0123456789_abcde"), bad);
    row("state without a value", get("/?code=abc&state"), bad);
    row("no state", get("/?code=abc"), bad);
    row("wrong state first", get("/?code=abc&state=x&" + state), bad);
    row("no code", get("/?" + state), bad);
    row("nothing", get("/"), bad);
    row("in the fragment", get("/#code=abc&" + state), bad);
    row("in the headers", "GET / HTTP/1.1\r\nX: ?code=abc&" + state + "\r\n\r\n", bad);
    row("in the body", "POST / HTTP/1.1\r\n\r\ncode=abc&" + state, bad);
    row("state that is not UTF-8", get("/?code=abc&state=%FF%FE"), bad);

    row("refused", get("/?error=access_denied&" + state), ok, {}, true);
    row("refused, without a state", get("/?error=access_denied"), ok, {}, true);
    row("refused, with a wrong state", get("/?error=x&code=abc&state=another"), ok, {}, true);
    row("script in the error", get("/?error=%3Cscript%3E&error_description=%0d%0aX:%20y"), ok, {}, true);

    row("favicon", get("/favicon.ico"), none);
    row("good parameters, other path", get("/x?code=abc&" + state), none);
    row("two slashes", get("//?code=abc&" + state), none);
    row("encoded slash", get("/%2F?code=abc&" + state), none);
    row("whole address", get("http://127.0.0.1/?code=abc&" + state), none);
    row("broken encoding", get("/?code=%zz&" + state), none);
    row("CONNECT", "CONNECT evil.example:443 HTTP/1.1\r\n\r\n", bad);
    row("empty", {}, none);
    row("one word", "GET\r\n\r\n", none);
    row("TLS", QByteArray::fromHex("16030100a5010000a10303") + QByteArray(32, '\0'), none);
    row("zeros", QByteArray(16384, '\0'), none);
    QByteArray allBytes(256, '\0');
    std::iota(allBytes.begin(), allBytes.end(), '\0');
    row("all bytes", allBytes, none);
    row("cut in the middle of the path", get("/" + QByteArray(16384, 'a')).left(16384), none);
}

void RedirectRequestTest::read() {
    QFETCH(QByteArray, request);
    QFETCH(QString, code);
    QFETCH(bool, denied);
    const RedirectRequest::Reading reading = RedirectRequest::read(request, expectedState);
    QTEST(reading.answer.status, "status");
    if (reading.answer.status.startsWith("404"))
        QCOMPARE(reading.answer.body, QByteArray());
    else
        QCOMPARE(reading.answer.body, AuthPage::html(!code.isEmpty()));
    QCOMPARE(reading.outcome.has_value(), denied || !code.isEmpty());
    if (denied)
        QCOMPARE(std::get<AuthError::Case>(*reading.outcome), AuthError::denied);
    else if (!code.isEmpty())
        QCOMPARE(std::get<QString>(*reading.outcome), code);
}

// One character changed, added or left out, at every place.
void RedirectRequestTest::everyWrongState() {
    QStringList wrong = {expectedState + u'x', u'x' + expectedState, expectedState + expectedState,
                         expectedState + QChar(0)};
    for (qsizetype i = 0; i < expectedState.size(); ++i) {
        QString changed = expectedState;
        changed[i] = u'.';
        wrong += {changed, QString(expectedState).remove(i, 1), expectedState.left(i)};
    }
    for (const QString &state : std::as_const(wrong)) {
        const QByteArray request = "GET /?code=abc&state=" + QUrl::toPercentEncoding(state) + " HTTP/1.1\r\n\r\n";
        const RedirectRequest::Reading reading = RedirectRequest::read(request, expectedState);
        QVERIFY2(!reading.outcome && reading.answer.status == "400 Bad Request", qPrintable(state));
    }
}

void RedirectRequestTest::responseBytes() {
    const RedirectRequest::Answer answer = {"404 Not Found", "é€"};
    QCOMPARE(answer.response(), "HTTP/1.1 404 Not Found\r\nContent-Type: text/html; charset=utf-8\r\n"
                                "Content-Length: 5\r\nConnection: close\r\n\r\né€");
}

void RedirectRequestTest::pageIsSelfContained() {
    for (const bool success : {true, false})
        for (const char *link : {"<script", "http", "url(", "src=", "href="})
            QVERIFY2(!AuthPage::html(success).contains(link), link);
}

QTEST_APPLESS_MAIN(RedirectRequestTest)
#include "RedirectRequestTest.moc"
