// SPDX-License-Identifier: LicenseRef-Quillmount
#include "App/Auth/TokenAnswer.h"
#include "App/Auth/IdentityToken.h"
#include "App/Auth/TokenEndpoint.h"

#include <QJsonDocument>
#include <QJsonObject>
#include <QtTest>

using namespace quillmount;
using namespace Qt::StringLiterals;

namespace {

// 15 January 2026, 12:00:00.400 UTC
const Clock::Instant answered(std::chrono::milliseconds(1'768'478'400'400));

QJsonObject goodAnswer() {
    return {
        {u"access_token"_s, u"ya29.a"_s}, {u"refresh_token"_s, u"1//r"_s},
        {u"expires_in"_s, 3599},          {u"scope"_s, u"openid "_s + GoogleAuth::driveScope() + u" email"_s},
        {u"token_type"_s, u"MAC"_s},      {u"unknown"_s, QJsonArray{1, 2}},
    };
}

QJsonObject with(const QString &key, const QJsonValue &value) {
    QJsonObject answer = goodAnswer();
    answer[key] = value;
    return answer;
}

QJsonObject without(const QString &key) {
    QJsonObject answer = goodAnswer();
    answer.remove(key);
    return answer;
}

QByteArray text(const QJsonObject &object) {
    return QJsonDocument(object).toJson();
}

// An identity token with this payload, in Google's alphabet and without padding.
QString identityToken(const QByteArray &payload) {
    const auto form = QByteArray::Base64UrlEncoding | QByteArray::OmitTrailingEquals;
    return u"eyJhbGciOiJSUzI1NiJ9."_s + QString::fromLatin1(payload.toBase64(form)) + u".c2ln"_s;
}

} // namespace

class TokenAnswerTest : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void engineToken();
    void expiry_data();
    void expiry();
    void refusals_data();
    void refusals();
    void identity();
    void email_data();
    void email();
    void form();
};

void TokenAnswerTest::engineToken() {
    const GoogleAuth::Result result = TokenAnswer::result(text(goodAnswer()), answered);
    const QJsonObject expected = {
        {u"access_token"_s, u"ya29.a"_s},
        {u"token_type"_s, u"Bearer"_s},
        {u"refresh_token"_s, u"1//r"_s},
        {u"expiry"_s, u"2026-01-15T12:59:59Z"_s},
    };
    QCOMPARE(QJsonDocument::fromJson(result.token.toUtf8()).object(), expected);
    QVERIFY2(!result.token.contains(u' ') && !result.token.contains(u'\n'), "the configuration file takes one line");
    QVERIFY(!result.email && !result.idToken);
}

void TokenAnswerTest::expiry_data() {
    QTest::addColumn<QJsonObject>("answer");
    QTest::addColumn<QString>("expiry");
    const QString inAnHour = u"2026-01-15T13:00:00Z"_s;
    QTest::newRow("missing") << without(u"expires_in"_s) << inAnHour;
    QTest::newRow("text") << with(u"expires_in"_s, u"60"_s) << inAnHour;
    QTest::newRow("fractions that add up") << with(u"expires_in"_s, 59.7) << u"2026-01-15T12:01:00Z"_s;
    QTest::newRow("negative") << with(u"expires_in"_s, -1) << u"2026-01-15T11:59:59Z"_s;
    QTest::newRow("huge") << with(u"expires_in"_s, 1e300) << u"9999-12-31T23:59:59Z"_s;
}

void TokenAnswerTest::expiry() {
    QFETCH(QJsonObject, answer);
    const GoogleAuth::Result result = TokenAnswer::result(text(answer), answered);
    QTEST(QJsonDocument::fromJson(result.token.toUtf8()).object()["expiry"_L1].toString(), "expiry");
}

void TokenAnswerTest::refusals_data() {
    QTest::addColumn<QByteArray>("body");
    QTest::addColumn<int>("error");
    const auto row = [](const char *name, const QByteArray &body, AuthError::Case error) {
        QTest::newRow(name) << body << int(error);
    };
    row("empty", {}, AuthError::exchangeFailed);
    row("not JSON", "<html>Sign in to the network</html>", AuthError::exchangeFailed);
    row("cut short", text(goodAnswer()).chopped(5), AuthError::exchangeFailed);
    row("not UTF-8", text(goodAnswer()).replace("ya29.a", "\xFF\xFE"), AuthError::exchangeFailed);
    row("nested deeply", QByteArray(100'000, '['), AuthError::exchangeFailed);
    row("no access token", text(without(u"access_token"_s)), AuthError::exchangeFailed);
    row("no refresh token", text(without(u"refresh_token"_s)), AuthError::exchangeFailed);
    row("box unticked", text(with(u"scope"_s, u"openid email"_s)), AuthError::driveNotGranted);
    row("no scope", text(without(u"scope"_s)), AuthError::driveNotGranted);
    row("scope no text", text(with(u"scope"_s, QJsonArray{GoogleAuth::driveScope()})), AuthError::driveNotGranted);
    row("longer scope", text(with(u"scope"_s, GoogleAuth::driveScope() + u".x"_s)), AuthError::driveNotGranted);
    row("wider scope", text(with(u"scope"_s, u"https://www.googleapis.com/auth/drive"_s)), AuthError::driveNotGranted);
    row("scope after a tab", text(with(u"scope"_s, u"email\t"_s + GoogleAuth::driveScope())),
        AuthError::driveNotGranted);
}

void TokenAnswerTest::refusals() {
    QFETCH(QByteArray, body);
    try {
        (void)TokenAnswer::result(body, answered);
        QFAIL("taken for tokens");
    } catch (const AuthError &error) {
        QTEST(int(error.which()), "error");
    }
}

void TokenAnswerTest::identity() {
    const QString readable = identityToken(R"({"email":"someone@example.com"})");
    const GoogleAuth::Result known = TokenAnswer::result(text(with(u"id_token"_s, readable)), answered);
    QCOMPARE(known.idToken, std::optional(readable));
    QCOMPARE(known.email, std::optional(u"someone@example.com"_s));

    const GoogleAuth::Result unreadable = TokenAnswer::result(text(with(u"id_token"_s, u"one-piece"_s)), answered);
    QCOMPARE(unreadable.idToken, std::optional(u"one-piece"_s));
    QVERIFY(!unreadable.email);
    QVERIFY(!TokenAnswer::result(text(with(u"id_token"_s, 7)), answered).idToken);

    QCOMPARE(TokenAnswer::idToken(text({{u"id_token"_s, readable}})), std::optional(readable));
    QVERIFY(!TokenAnswer::idToken(text({{u"id_token"_s, true}})));
    QVERIFY(!TokenAnswer::idToken("[]"));
}

void TokenAnswerTest::email_data() {
    QTest::addColumn<QString>("token");
    QTest::addColumn<std::optional<QString>>("email");
    const auto found = [](const char *name, const QString &token, const QString &email) {
        QTest::newRow(name) << token << std::optional(email);
    };
    const auto nothing = [](const char *name, const QString &token) {
        QTest::newRow(name) << token << std::optional<QString>();
    };
    found("no padding needed", identityToken(R"({"email":"ab@c.de"})"), u"ab@c.de"_s);
    found("one", identityToken(R"({"email":"abc@de.fg"})"), u"abc@de.fg"_s);
    found("two", identityToken(R"({"email":"ab@cd.ef"})"), u"ab@cd.ef"_s);
    found("both special letters", identityToken(R"({"email":"~~~???@ÿ.þ"})"), u"~~~???@ÿ.þ"_s);
    found("padded already", u"h.eyJlbWFpbCI6ImFiQGNkLmVmIn0=.s"_s, u"ab@cd.ef"_s);
    found("empty pieces", u"..h..eyJlbWFpbCI6ImFiQGNkLmVmIn0.."_s, u"ab@cd.ef"_s);
    nothing("empty", {});
    nothing("one piece", u"eyJlbWFpbCI6ImFiQGNkLmVmIn0"_s);
    nothing("junk in the payload", u"h.eyJl bWFpbCI6ImFiQGNkLmVmIn0.s"_s);
    nothing("other letters", u"h.eyJlbWFpbCI6ImFiQGNkLmVmIn0é.s"_s);
    nothing("a single letter too many", u"h.eyJlbWFpbCI6ImFiQGNkLmVmIn0aa.s"_s);
    nothing("padding inside", u"h.eyJl=bWFpbCI6ImFiQGNkLmVmIn0.s"_s);
    nothing("not UTF-8", identityToken("{\"email\":\"\xFF@c.de\"}"));
    nothing("not JSON", identityToken("email"));
    nothing("no e-mail", identityToken(R"({"sub":"1"})"));
}

void TokenAnswerTest::email() {
    QFETCH(QString, token);
    QTEST(IdentityToken::email(token), "email");
}

void TokenAnswerTest::form() {
    const QByteArray form = TokenEndpoint::formEncode({
        {u"plain"_s, u"AZaz09-._~"_s},
        {u"na me"_s, u"a+b/c=d&e f"_s},
        {u"é"_s, u"€%!*'()\n"_s},
        {u"none"_s, {}},
    });
    QCOMPARE(form,
             QByteArray("plain=AZaz09-._~&na%20me=a%2Bb%2Fc%3Dd%26e%20f&%C3%A9=%E2%82%AC%25%21%2A%27%28%29%0A&none="));
}

QTEST_APPLESS_MAIN(TokenAnswerTest)
#include "TokenAnswerTest.moc"
