// SPDX-License-Identifier: LicenseRef-Quillmount
// From no account to a live drive, over the browser and back, and what the user is told when it does not get there.
#include "Tests/EndToEnd/Application.h"
#include "Tests/EndToEnd/SignInHome.h"
#include "Tests/Support/TestFiles.h"

#include <QFile>
#include <QJsonDocument>
#include <QTest>
#include <QUrlQuery>

#include <algorithm>
#include <csignal>

using namespace quillmount;
using namespace Qt::StringLiterals;

namespace {

const QString tokenEndpoint = u"/token"_s;
constexpr auto ownerOnly = QFile::ReadOwner | QFile::WriteOwner | QFile::ReadUser | QFile::WriteUser;

} // namespace

class SignInTest : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void init();
    void cleanup();
    void leadsToALiveDrive();
    void tellsWhyItFailed();
    void isGivenUpAtTheEnd_data();
    void isGivenUpAtTheEnd();

private:
    // Where the browser was in the end, with the code; empty until it is there.
    [[nodiscard]] QUrl whereBrowserEnded() const { return QUrl(QString::fromLatin1(m_home->read(u"address"_s))); }
    [[nodiscard]] QByteArray pageShown() const { return m_home->read(u"page.html"_s); }
    // The token in the engine's configuration; empty while there is none.
    [[nodiscard]] QJsonObject engineToken() const;
    // The last grant that the local Google gave.
    [[nodiscard]] QJsonObject lastGrant() const;

    std::unique_ptr<SignInHome> m_home;
    std::unique_ptr<Application> m_application;
};

void SignInTest::init() {
    m_home = std::make_unique<SignInHome>();
    m_application = std::make_unique<Application>(*m_home);
    m_home->prepare(*m_application);
    // A browser without a window.
    m_home->setBrowser(R"(exec >"$HOME/address.new"
curl --silent --noproxy '*' --location --output "$HOME/page.html" --write-out '%{url_effective}' -- "$1"
mv "$HOME/address.new" "$HOME/address")");
    m_home->google.answerThePage(u"agree"_s);
}

void SignInTest::cleanup() {
    m_application.reset();
    m_home.reset();
}

QJsonObject SignInTest::engineToken() const {
    const QByteArrayList lines = m_home->read(u".local/share/Quillmount/engine.conf"_s).split('\n');
    for (const QByteArray &line : lines)
        if (line.startsWith("token = "))
            return QJsonDocument::fromJson(line.mid(8)).object();
    return {};
}

QJsonObject SignInTest::lastGrant() const {
    const QByteArray state = contentOf(m_home->google.directory() + u"/.state/grants.json"_s);
    return QJsonDocument::fromJson(state)["grants"_L1].toArray().last().toObject();
}

void SignInTest::leadsToALiveDrive() {
    // The engine renews a token some seconds before its end.
    m_home->google.control("POST", u"/settings"_s, {{"tokenLifetime"_L1, 15}});
    m_application->start({u"--sign-in"_s});
    QByteArray seen;
    QJsonObject token;
    bool isPrivate = true;
    const auto look = [&] {
        const QList<ProcessInfo> processes = m_home->processes();
        for (const ProcessInfo &process : processes)
            seen += process.description() + '\n';
        if (token.isEmpty())
            token = engineToken();
        isPrivate = isPrivate && (token.isEmpty() || QFile::permissions(m_home->engineConfiguration()) == ownerOnly);
        return m_application->state() == u"live"_s;
    };
    QTRY_VERIFY_WITH_TIMEOUT(look(), 20'000);
    QVERIFY(isPrivate);
    QVERIFY(pageShown().contains("You're connected"));
    QCOMPARE(token["refresh_token"_L1], lastGrant()["refresh"_L1]);
    QVERIFY(m_home->save(u"letter.txt"_s, "Dear Google"));
    QTRY_COMPARE_WITH_TIMEOUT(m_home->onGoogle(u"letter.txt"_s), QByteArray("Dear Google"), 20'000);

    QTRY_VERIFY_WITH_TIMEOUT(look() && engineToken()["access_token"_L1] != token["access_token"_L1], 40'000);
    QCOMPARE(engineToken()["refresh_token"_L1], token["refresh_token"_L1]);
    QVERIFY(m_home->google.count(u"token.refresh"_s) > 0);
    QCOMPARE(m_home->google.count(u"token.code"_s), 1);

    const QUrlQuery redirect(whereBrowserEnded());
    const QByteArray logs = contentOf(m_home->engineLog()) + m_application->output() + m_application->log();
    QVERIFY(seen.contains("QuillmountEngine") && seen.contains("quillmount-mount") && logs.contains("-> live"));
    const QList<ProcessInfo> processes = m_home->processes();
    const auto engine = std::ranges::find(processes, "QuillmountEngine", &ProcessInfo::program);
    QVERIFY(engine != processes.end());
    const QStringList secrets{QString::fromUtf8(engine->environment.value("RCLONE_RC_PASS")),
                              QString::fromUtf8(engine->environment.value("RCLONE_RC_USER")),
                              redirect.queryItemValue(u"code"_s, QUrl::FullyDecoded),
                              redirect.queryItemValue(u"code"_s, QUrl::FullyEncoded),
                              token["access_token"_L1].toString(),
                              token["refresh_token"_L1].toString(),
                              engineToken()["access_token"_L1].toString(),
                              m_home->google.clientSecret(),
                              u"user@example.com"_s};
    for (const QString &secret : secrets) {
        QVERIFY(secret.size() > 8);
        QVERIFY(!logs.contains(secret.toUtf8()) && !seen.contains(secret.toUtf8()));
    }
    // The browser is told the state, and so is whoever looks at its arguments; the logs are not.
    QVERIFY(!logs.contains(redirect.queryItemValue(u"state"_s).toUtf8()));

    // The account is there now.
    m_application->signal(SIGTERM);
    QCOMPARE(m_application->end(), 0);
    m_application->start({u"--sign-in"_s});
    QVERIFY(m_application->comesTo(u"live"_s));
    QCOMPARE(m_home->google.count(u"auth.page"_s), 1);
}

void SignInTest::tellsWhyItFailed() {
    const int stalled = m_home->google.fault({{"kind"_L1, "stall"_L1}, {"path"_L1, tokenEndpoint}});
    m_application->start({u"--sign-in"_s});
    QTRY_VERIFY_WITH_TIMEOUT(m_home->hits(stalled) > 0, 20'000);
    QVERIFY(m_application->output().isEmpty());
    m_home->google.clearFaults(); // which cuts the request
    QTRY_COMPARE_WITH_TIMEOUT(m_application->output(),
                              "Couldn't reach Google. Check your internet connection and try again.\n", 20'000);
    QTRY_VERIFY(pageShown().contains("You're connected"));
    QCOMPARE(m_application->states(), QStringList(u"signedOut"_s));
    QVERIFY(m_application->isRunning());
    QVERIFY(m_home->engine() == 0 && !QFile::exists(m_home->engineConfiguration()));
    QVERIFY2(m_home->google.count(u"token.code"_s) <= 1, "the code was tried again");
    m_application->signal(SIGTERM);
    QCOMPARE(m_application->end(), 0);
}

void SignInTest::isGivenUpAtTheEnd_data() {
    QTest::addColumn<QString>("path"); // whose request is left waiting
    QTest::newRow("at the page") << u"/o/oauth2/v2/auth"_s;
    QTest::newRow("while tokens are asked for") << tokenEndpoint;
}

void SignInTest::isGivenUpAtTheEnd() {
    QFETCH(QString, path);
    const int stalled = m_home->google.fault({{"kind"_L1, "stall"_L1}, {"path"_L1, path}});
    m_application->start({u"--sign-in"_s});
    QTRY_VERIFY_WITH_TIMEOUT(m_home->hits(stalled) > 0, 20'000);
    m_application->signal(SIGTERM);
    QCOMPARE(m_application->end(5), 0);
    QCOMPARE(m_application->output(), QByteArray());
    QVERIFY(!QFile::exists(m_home->engineConfiguration()));
    m_home->google.clearFaults(); // and the browser goes on, too
    QTRY_VERIFY_WITH_TIMEOUT(m_home->isQuiet(), 20'000);
}

QTEST_GUILESS_MAIN(SignInTest)
#include "SignInTest.moc"
