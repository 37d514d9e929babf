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

// What becomes of a code: what Google refuses is refused here, or a sign-in that is wrong would be taken for right.
class AccountsTest : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void init();
    void cleanup();

    void untickedBoxGrantsNoDrive();
    void codeIsRefused_data();
    void codeIsRefused();

private:
    using Answer = GoogleClient::Answer;

    Answer post(const QString &path, const QByteArray &body) {
        return m_client->send("POST", m_google->accounts() + path, body,
                              {{"Content-Type", "application/x-www-form-urlencoded"}, {"Authorization", {}}});
    }
    // The code that comes back when the user answers the page so.
    QString newCode(const QByteArray &decision = "decision=agree&drive=yes");
    Answer redeem(const QString &code, const Fields &changes = {});

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

QString AccountsTest::newCode(const QByteArray &decision) {
    const QByteArray challenge = QCryptographicHash::hash(verifier.toLatin1(), QCryptographicHash::Sha256)
                                     .toBase64(QByteArray::Base64UrlEncoding | QByteArray::OmitTrailingEquals);
    const Fields question{{u"client_id"_s, m_google->clientId()},
                          {u"redirect_uri"_s, redirect},
                          {u"response_type"_s, u"code"_s},
                          {u"scope"_s, u"openid email "_s + driveScope},
                          {u"code_challenge"_s, QString::fromLatin1(challenge)},
                          {u"code_challenge_method"_s, u"S256"_s},
                          {u"access_type"_s, u"offline"_s},
                          {u"prompt"_s, u"consent"_s},
                          {u"state"_s, u"a state&more"_s}};
    const QString address = m_google->accounts() + u"/o/oauth2/v2/auth?"_s + QString::fromLatin1(form(question, {}));
    static const QRegularExpression ticket(u"name=\"ticket\" value=\"([^\"]+)\""_s);
    const auto found = ticket.match(QString::fromUtf8(m_client->send("GET", address, {}, {}).body));
    const Answer answer = post(u"/o/oauth2/v2/decision"_s, "ticket=" + found.captured(1).toLatin1() + '&' + decision);
    const QUrlQuery redirected(QUrl::fromEncoded(answer.headers.value("location")));
    return redirected.queryItemValue(u"code"_s, QUrl::FullyDecoded);
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

void AccountsTest::untickedBoxGrantsNoDrive() {
    const Answer tokens = redeem(newCode("decision=agree"));
    QCOMPARE(tokens.json["scope"_L1].toString(), u"openid https://www.googleapis.com/auth/userinfo.email"_s);
    m_client->setToken(tokens.json["access_token"_L1].toString());
    QCOMPARE(m_client->get(u"/drive/v3/about?fields=storageQuota"_s).status, 403);
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

QTEST_GUILESS_MAIN(AccountsTest)
#include "AccountsTest.moc"
