// SPDX-License-Identifier: LicenseRef-Quillmount
#include "Tests/GoogleStandIn/GoogleClient.h"

#include <QCryptographicHash>
#include <QRegularExpression>
#include <QTest>
#include <QUrlQuery>

#include <memory>

using namespace Qt::StringLiterals;
using namespace quillmount;

namespace {

const QString driveScope = u"https://www.googleapis.com/auth/drive.file"_s;
const QString redirect = u"http://127.0.0.1:5"_s; // Nothing here ever goes there.
const QString verifier = u"a-verifier.of_43~characters-aaaaaaaaaaaaaaaaaaaa"_s;

using Fields = QMap<QString, QString>;

// `changes` put in, a null text takes the field out.
QByteArray form(Fields fields, const Fields &changes) {
    fields.insert(changes);
    QByteArrayList pairs;
    for (auto it = fields.begin(); it != fields.end(); ++it) {
        if (!it.value().isNull())
            pairs.append(it.key().toLatin1() + '=' + QUrl::toPercentEncoding(it.value()));
    }
    return pairs.join('&');
}

} // namespace

// Where the user agrees, and where that becomes tokens: what Google refuses is refused here, or a sign-in that is wrong
// would be taken for right.
class AccountsTest : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void init();
    void cleanup();

    void untickedBoxGrantsNoDrive();
    void pageIsRefused_data();
    void pageIsRefused();
    void answerCountsOnce();
    void codeIsRefused_data();
    void codeIsRefused();
    void refreshTokenHasItsPrice_data();
    void refreshTokenHasItsPrice();

private:
    using Answer = GoogleClient::Answer;

    Fields question() const;
    Answer openPage(const Fields &changes = {}) {
        return m_client->send(
            "GET", m_google->accounts() + u"/o/oauth2/v2/auth?"_s + QString::fromLatin1(form(question(), changes)), {},
            {});
    }
    Answer post(const QString &path, const QByteArray &body) {
        return m_client->send("POST", m_google->accounts() + path, body,
                              {{"Content-Type", "application/x-www-form-urlencoded"}, {"Authorization", {}}});
    }
    Answer decide(const Answer &page, const QByteArray &decision);
    // What the redirect that answers a decision carries.
    static QString carried(const Answer &answer, const QString &name) {
        return QUrlQuery(QUrl::fromEncoded(answer.headers.value("location"))).queryItemValue(name, QUrl::FullyDecoded);
    }
    QString newCode(const Fields &changes = {}) {
        return carried(decide(openPage(changes), "decision=agree&drive=yes"), u"code"_s);
    }
    Answer redeem(const QString &code, const Fields &changes = {});
    Answer refresh(const QString &token);
    int drive(const Answer &tokens);

    std::unique_ptr<LocalGoogle> m_google;
    std::unique_ptr<GoogleClient> m_client;
};

void AccountsTest::init() {
    m_google = std::make_unique<LocalGoogle>();
    m_client = std::make_unique<GoogleClient>(*m_google);
}

void AccountsTest::cleanup() {
    m_client.reset();
    m_google.reset();
}

Fields AccountsTest::question() const {
    const QByteArray challenge = QCryptographicHash::hash(verifier.toLatin1(), QCryptographicHash::Sha256)
                                     .toBase64(QByteArray::Base64UrlEncoding | QByteArray::OmitTrailingEquals);
    return {{u"client_id"_s, m_google->clientId()},
            {u"redirect_uri"_s, redirect},
            {u"response_type"_s, u"code"_s},
            {u"scope"_s, u"openid email "_s + driveScope},
            {u"code_challenge"_s, QString::fromLatin1(challenge)},
            {u"code_challenge_method"_s, u"S256"_s},
            {u"access_type"_s, u"offline"_s},
            {u"prompt"_s, u"consent"_s},
            {u"state"_s, u"a state&more"_s}};
}

AccountsTest::Answer AccountsTest::decide(const Answer &page, const QByteArray &decision) {
    static const QRegularExpression ticket(u"name=\"ticket\" value=\"([^\"]+)\""_s);
    const QString found = ticket.match(QString::fromUtf8(page.body)).captured(1);
    return post(u"/o/oauth2/v2/decision"_s, "ticket=" + found.toLatin1() + '&' + decision);
}

AccountsTest::Answer AccountsTest::redeem(const QString &code, const Fields &changes) {
    const Fields fields{{u"code"_s, code},
                        {u"client_id"_s, m_google->clientId()},
                        {u"client_secret"_s, m_google->clientSecret()},
                        {u"redirect_uri"_s, redirect},
                        {u"grant_type"_s, u"authorization_code"_s},
                        {u"code_verifier"_s, verifier}};
    return post(u"/token"_s, form(fields, changes));
}

AccountsTest::Answer AccountsTest::refresh(const QString &token) {
    return post(u"/token"_s, form({{u"refresh_token"_s, token},
                                   {u"client_id"_s, m_google->clientId()},
                                   {u"client_secret"_s, m_google->clientSecret()},
                                   {u"grant_type"_s, u"refresh_token"_s}},
                                  {}));
}

int AccountsTest::drive(const Answer &tokens) {
    m_client->setToken(tokens.json["access_token"_L1].toString());
    return m_client->get(u"/drive/v3/about?fields=storageQuota"_s).status;
}

void AccountsTest::untickedBoxGrantsNoDrive() {
    const Answer answer = decide(openPage(), "decision=agree");
    QCOMPARE(carried(answer, u"state"_s), u"a state&more"_s);
    const Answer tokens = redeem(carried(answer, u"code"_s));
    QCOMPARE(tokens.json["scope"_L1].toString(), u"openid https://www.googleapis.com/auth/userinfo.email"_s);
    QCOMPARE(drive(tokens), 403);
}

void AccountsTest::pageIsRefused_data() {
    QTest::addColumn<QString>("name");
    QTest::addColumn<QString>("value");
    QTest::addColumn<int>("status");
    QTest::addColumn<QByteArray>("error");
    const auto row = [](const char *title, const char *name, const QString &value, const char *error,
                        int status = 400) {
        QTest::newRow(title) << QString::fromLatin1(name) << value << status << QByteArray(error);
    };
    for (const char *name :
         {"client_id", "redirect_uri", "response_type", "scope", "code_challenge", "code_challenge_method"}) {
        row(QByteArray("without ").append(name).constData(), name, {}, "Missing required parameter");
    }
    row("unknown client", "client_id", u"x"_s, "invalid_client", 401);
    row("unknown parameter", "unheard", u"of"_s, "Parameter not allowed for this message type: unheard");
    row("a name", "redirect_uri", u"http://localhost:5"_s, "redirect_uri_mismatch");
    row("the address as a user", "redirect_uri", u"http://127.0.0.1:5@example.com:5"_s, "redirect_uri_mismatch");
    row("a token at once", "response_type", u"token"_s, "unsupported_response_type");
    row("unknown scope", "scope", u"openid everything"_s, "invalid_scope");
    row("verifier in the clear", "code_challenge_method", u"plain"_s, "invalid_request");
    row("challenge too short", "code_challenge", u"abc"_s, "invalid_request");
    row("mark-up that is shown", "scope", u"<script>x</script>"_s, "&lt;script&gt;");
}

void AccountsTest::pageIsRefused() {
    QFETCH(QString, name);
    QFETCH(QString, value);
    QFETCH(int, status);
    QFETCH(QByteArray, error);
    m_google->answerThePage(u"agree"_s);
    const Answer page = openPage({{name, value}});
    QCOMPARE(page.status, status);
    QVERIFY2(page.body.contains(error), page.body.constData());
    QVERIFY(!page.body.contains("<script"));
    // Nobody is sent to an address that is not trusted.
    QVERIFY(!page.headers.contains("location"));
}

void AccountsTest::answerCountsOnce() {
    const Answer page = openPage();
    QCOMPARE(decide(page, "decision=maybe").status, 400);
    QCOMPARE(decide(page, "decision=agree").status, 303);
    QCOMPARE(decide(page, "decision=agree").status, 400);
    QCOMPARE(m_client->send("GET", m_google->accounts() + u"/o/oauth2/v2/auth"_s, {}, {{"Host", "example.com"}}).status,
             400);
}

void AccountsTest::codeIsRefused_data() {
    QTest::addColumn<QString>("name");
    QTest::addColumn<QString>("value");
    QTest::addColumn<int>("status");
    QTest::addColumn<QString>("error");
    QTest::addColumn<bool>("isUsedUp");
    const auto row = [](const char *title, const char *name, const QString &value, const char *error,
                        bool isUsedUp = false, int status = 400) {
        QTest::newRow(title) << QString::fromLatin1(name) << value << status << QString::fromLatin1(error) << isUsedUp;
    };
    row("other redirect", "redirect_uri", redirect + u'/', "redirect_uri_mismatch", true);
    row("other verifier", "code_verifier", verifier + u'x', "invalid_grant", true);
    row("no verifier", "code_verifier", {}, "invalid_grant", true);
    row("other secret", "client_secret", u"x"_s, "invalid_client", false, 401);
    row("other client", "client_id", u"x"_s, "invalid_client", false, 401);
    row("another's code", "client_id", u"another"_s, "invalid_grant", true);
    row("unknown field", "state", u"x"_s, "invalid_request");
}

void AccountsTest::codeIsRefused() {
    QFETCH(QString, name);
    QFETCH(QString, value);
    QFETCH(bool, isUsedUp);
    // Another client, known by the same secret.
    m_google->control("POST", u"/grants"_s,
                      {{"clientId"_L1, "another"_L1}, {"clientSecret"_L1, m_google->clientSecret()}});
    const QString code = newCode();
    const Answer refused = redeem(code, {{name, value}});
    QTEST(refused.status, "status");
    QTEST(refused.json["error"_L1].toString(), "error");
    QVERIFY(!refused.json["error_description"_L1].toString().isEmpty());
    QCOMPARE(redeem(code).status, isUsedUp ? 400 : 200);
    QCOMPARE(redeem(code).json["error"_L1].toString(), u"invalid_grant"_s);
}

void AccountsTest::refreshTokenHasItsPrice_data() {
    QTest::addColumn<QString>("name");
    QTest::addColumn<QString>("value");
    QTest::addColumn<bool>("hasIdentity");
    QTest::newRow("online") << u"access_type"_s << u"online"_s << true;
    QTest::newRow("no consent asked for") << u"prompt"_s << QString() << true;
    QTest::newRow("the Drive alone") << u"scope"_s << driveScope << false;
}

void AccountsTest::refreshTokenHasItsPrice() {
    QFETCH(QString, name);
    QFETCH(QString, value);
    QFETCH(bool, hasIdentity);
    const Answer tokens = redeem(newCode({{name, value}}));
    QCOMPARE(tokens.status, 200);
    QCOMPARE(drive(tokens), 200);
    QCOMPARE(tokens.json.contains("refresh_token"_L1), !hasIdentity);
    QCOMPARE(tokens.json.contains("id_token"_L1), hasIdentity);
    QCOMPARE(refresh({}).status, 400);
}

QTEST_GUILESS_MAIN(AccountsTest)
#include "AccountsTest.moc"
