// SPDX-License-Identifier: LicenseRef-Quillmount
#include "App/Account/AccountConnection.h"
#include "App/Auth/GoogleAuth.h"
#include "App/Engine/DriveEngine.h"
#include "App/Engine/EngineConfig.h"
#include "App/Support/Paths.h"
#include "App/Support/Preferences.h"
#include "Platform/Testing/ScopedPlatform.h"
#include "Tests/App/Auth/Browser.h"
#include "Tests/App/Auth/TokenServer.h"
#include "Tests/App/Engine/ScriptedVolumeSetup.h"
#include "Tests/Support/TestFiles.h"
#include "Tests/Support/WaitFor.h"

#include <QUrlQuery>
#include <QtTest>

#include <memory>

using namespace quillmount;
using namespace Qt::StringLiterals;
using namespace std::chrono_literals;

using State = AccountConnection::State;

class AccountConnectionTest : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void init();
    void cleanup();

    void connects();
    void failures_data();
    void failures();
    void unwritableConfiguration();
    void cancel_data();
    void cancel();
    void connectingIsNotGivenUp_data();
    void connectingIsNotGivenUp();
    void anotherAccount_data();
    void anotherAccount();
    void placeIsTaken();
    void codeOfAFormerAttempt();
    void reopensTheBrowser();
    void tellsThatNoBrowserOpened();
    void destroyedWhileRunning();

private:
    void comeBack(const QByteArray &query);
    void agree() { comeBack("code=the-code"); }
    [[nodiscard]] bool settles(State state) {
        return waitFor([this, state] { return m_account->state() == state; });
    }

    std::unique_ptr<ScopedPlatform> m_platform;
    std::unique_ptr<TokenServer> m_server;
    std::unique_ptr<ScriptedVolumeSetup> m_setup;
    std::unique_ptr<DriveEngine> m_engine;
    std::unique_ptr<AccountConnection> m_account;
    QList<State> m_states;
};

void AccountConnectionTest::init() {
    m_platform = std::make_unique<ScopedPlatform>();
    m_server = std::make_unique<TokenServer>();
    m_setup = std::make_unique<ScriptedVolumeSetup>();
    m_engine = std::make_unique<DriveEngine>(*m_setup);
    m_account = std::make_unique<AccountConnection>(*m_engine);
    m_states.clear();
    connect(m_account.get(), &AccountConnection::stateChanged, this, [this] { m_states.append(m_account->state()); });
    MemoryBundle &bundle = m_platform->bundle();
    bundle.setInfoString(u"QMGoogleClientID"_s, u"client"_s);
    bundle.setInfoString(u"QMGoogleClientSecret"_s, u"client-secret"_s);
    bundle.setInfoString(u"QMGoogleTokenEndpoint"_s, m_server->url().toString());
}

void AccountConnectionTest::cleanup() {
    m_account.reset();
    handleEvents();
    m_engine.reset();
    m_setup.reset();
    m_server.reset();
    m_platform.reset();
}

void AccountConnectionTest::comeBack(const QByteArray &query) {
    const QUrlQuery opened(m_platform->workspace().opened().last());
    Browser browser(quint16(QUrl(opened.queryItemValue(u"redirect_uri"_s, QUrl::FullyDecoded)).port()));
    browser.get("/?" + query + "&state=" + opened.queryItemValue(u"state"_s).toLatin1());
    QVERIFY(!browser.received().isEmpty());
}

void AccountConnectionTest::connects() {
    QCOMPARE(m_account->state(), State::idle);
    m_account->start();
    QCOMPARE(m_account->state(), State::waitingForBrowser);
    agree();
    QVERIFY(settles(State::done));
    QCOMPARE(m_states, QList({State::waitingForBrowser, State::exchanging, State::connecting, State::done}));
    QCOMPARE(EngineConfig::refreshToken(), std::optional(u"refresh-secret"_s));
    QCOMPARE(Preferences::accountEmail(), std::optional(u"ab@cd.ef"_s));
    QVERIFY(m_engine->state() != DriveState::signedOut);
}

void AccountConnectionTest::failures_data() {
    QTest::addColumn<QByteArray>("query");
    QTest::addColumn<QByteArray>("status");
    QTest::addColumn<QJsonObject>("tokens");
    QTest::addColumn<QString>("sentence");
    const auto row = [](const char *name, const QByteArray &query, const QByteArray &status, const QJsonObject &tokens,
                        const QString &sentence) { QTest::newRow(name) << query << status << tokens << sentence; };
    QJsonObject unticked = TokenServer::goodTokens();
    unticked[u"scope"_s] = u"openid email"_s;
    row("refused", "error=access_denied", "200 OK", {},
        u"Google access wasn't granted. Try again and leave the Google Drive box ticked."_s);
    row("box unticked", "code=c", "200 OK", unticked,
        u"Google Drive access wasn't allowed. Click Try Again and tick the box that lets Quillmount use Google Drive."_s);
    row("not confirmed", "code=c", "400 Bad Request", {}, u"Google didn't confirm the sign-in. Please try again."_s);
    row("no network", "code=c", {}, {}, u"Couldn't reach Google. Check your internet connection and try again."_s);
    row("too long", {}, {}, {}, u"Sign-in took too long. Please try again."_s);
    row("not configured", {}, "200 OK", {}, u"Quillmount can't sign in right now. Please contact support."_s);
}

void AccountConnectionTest::failures() {
    QFETCH(QByteArray, query);
    QFETCH(QByteArray, status);
    QFETCH(QJsonObject, tokens);
    m_server->setAnswer(status, QJsonDocument(tokens).toJson());
    if (status.isEmpty())
        m_server->setRaw({}, TokenServer::dropping);
    else if (query.isEmpty())
        m_platform->bundle().setInfoString(u"QMGoogleClientSecret"_s, {});
    m_account->start();
    if (!query.isEmpty())
        comeBack(query);
    else
        m_platform->clock().advance(300s);
    QVERIFY(settles(State::failed));
    QTEST(m_account->errorText(), "sentence");
    QVERIFY(!m_account->isRunning());
    QVERIFY(!Paths::hasEngineConfig());

    // A next attempt starts with a clean sheet.
    m_platform->bundle().setInfoString(u"QMGoogleClientSecret"_s, u"client-secret"_s);
    m_server->setTokens(TokenServer::goodTokens());
    m_account->start();
    QCOMPARE(m_account->errorText(), QString());
    agree();
    QVERIFY(settles(State::done));
}

void AccountConnectionTest::unwritableConfiguration() {
    // A folder in the file's place stops even root.
    QVERIFY(QDir().mkpath(Paths::engineConfig() + u"/x"_s));
    m_account->start();
    agree();
    QVERIFY(settles(State::failed));
    QCOMPARE(m_account->errorText(), u"Quillmount couldn't save your account. Please try again."_s);
}

void AccountConnectionTest::cancel_data() {
    QTest::addColumn<State>("during");
    QTest::newRow("waiting") << State::waitingForBrowser;
    QTest::newRow("exchanging") << State::exchanging;
}

void AccountConnectionTest::cancel() {
    QFETCH(State, during);
    connect(m_account.get(), &AccountConnection::stateChanged, m_account.get(), [this, during] {
        if (m_account->state() == during)
            m_account->cancel();
    });
    m_account->start();
    if (during != State::waitingForBrowser)
        agree();
    QVERIFY(settles(State::idle));
    m_platform->clock().advance(300s);
    handleEvents();
    QCOMPARE(m_states.last(), State::idle);
    QCOMPARE(m_account->errorText(), QString());
    QVERIFY2(!Paths::hasEngineConfig(), "it connected all the same");
}

void AccountConnectionTest::connectingIsNotGivenUp_data() {
    QTest::addColumn<bool>("restarts");
    QTest::newRow("cancelled") << false;
    QTest::newRow("started again") << true;
}

void AccountConnectionTest::connectingIsNotGivenUp() {
    QFETCH(const bool, restarts);
    connect(m_account.get(), &AccountConnection::stateChanged, m_account.get(), [this, restarts] {
        if (m_account->state() == State::connecting)
            restarts ? m_account->start() : m_account->cancel();
    });
    m_account->start();
    agree();
    QVERIFY(settles(State::done));
    QCOMPARE(m_states, QList({State::waitingForBrowser, State::exchanging, State::connecting, State::done}));
    QCOMPARE(EngineConfig::refreshToken(), std::optional(u"refresh-secret"_s));
}

void AccountConnectionTest::anotherAccount_data() {
    QTest::addColumn<std::optional<QString>>("connected");
    QTest::addColumn<bool>("isConfigured");
    QTest::addColumn<bool>("connects");
    QTest::newRow("the same") << std::optional(u"AB@cd.ef"_s) << true << true;
    QTest::newRow("another") << std::optional(u"other@cd.ef"_s) << true << false;
    QTest::newRow("of an unknown address") << std::optional<QString>() << true << true;
    QTest::newRow("another, disconnected") << std::optional(u"other@cd.ef"_s) << false << true;
}

void AccountConnectionTest::anotherAccount() {
    QFETCH(const std::optional<QString>, connected);
    QFETCH(const bool, isConfigured);
    QFETCH(const bool, connects);
    const QString configuration = Paths::engineConfig();
    if (isConfigured)
        putFile(configuration, "[drive]\n");
    Preferences::setAccountEmail(connected);
    m_account->start();
    agree();
    QVERIFY(waitFor([this] { return !m_account->isRunning(); }));
    QCOMPARE(m_account->state(), connects ? State::done : State::failed);
    if (connects)
        return;
    QCOMPARE(m_account->errorText(), u"This drive belongs to other@cd.ef. To use another account, disconnect that one "
                                     "in Settings first."_s);
    QCOMPARE(contentOf(configuration), "[drive]\n");
    QCOMPARE(Preferences::accountEmail(), connected);
}

void AccountConnectionTest::placeIsTaken() {
    const QString place = m_engine->mountPoint();
    QVERIFY(QDir().mkpath(place + u"/checkout"_s));
    m_account->start();
    QCOMPARE(m_account->state(), State::failed);
    QVERIFY(m_account->errorText().contains(place));
    QVERIFY(m_platform->workspace().opened().isEmpty());
    m_platform->mountTable().setProbe(
        [](const QString &) { return true; }); // a drive that is mounted is not looked into
    m_account->start();
    QCOMPARE(m_account->state(), State::waitingForBrowser);
}

void AccountConnectionTest::codeOfAFormerAttempt() {
    m_account->start();
    m_account->findChild<GoogleAuth *>()->finish(u"a code that is on its way"_s);
    m_account->start();
    handleEvents();
    QCOMPARE(m_states, QList({State::waitingForBrowser, State::waitingForBrowser}));
}

void AccountConnectionTest::reopensTheBrowser() {
    const QList<QUrl> &opened = m_platform->workspace().opened();
    connect(m_account.get(), &AccountConnection::stateChanged, m_account.get(), [this] {
        if (m_account->canReopenBrowser() != (m_account->state() == State::waitingForBrowser))
            QFAIL("the address leads nowhere");
        if (!m_account->canReopenBrowser())
            m_account->reopenBrowser();
    });
    m_account->reopenBrowser();
    QVERIFY(opened.isEmpty());
    m_account->start();
    m_account->reopenBrowser();
    QCOMPARE(opened.size(), 2);
    QCOMPARE(opened[0], opened[1]);
    agree();
    QVERIFY(settles(State::done));
    m_account->reopenBrowser();
    QCOMPARE(opened.size(), 2);
}

void AccountConnectionTest::tellsThatNoBrowserOpened() {
    m_account->start();
    m_account->start();
    m_platform->workspace().fail(0);
    QCOMPARE(m_account->noticeText(), QString()); // that was the former attempt's
    QCOMPARE(m_account->state(), State::waitingForBrowser);
    m_platform->workspace().fail(1);
    QVERIFY(m_account->noticeText().startsWith(u"Your browser didn't open."_s));
    QCOMPARE(QUrl(m_platform->pasteboard().text()), m_platform->workspace().opened().last());
    agree();
    QVERIFY(settles(State::done));
    QCOMPARE(m_account->noticeText(), QString());
}

void AccountConnectionTest::destroyedWhileRunning() {
    m_account->start();
    m_account.reset();
    handleEvents();
    m_account = std::make_unique<AccountConnection>(*m_engine);
    m_server->setRaw({}, TokenServer::stalling);
    m_account->start();
    agree();
    QVERIFY(waitFor([this] { return m_server->requests().size() == 1; }));
    m_account.reset();
    handleEvents();
    QVERIFY(!Paths::hasEngineConfig());
    // It takes away what only it needed.
    QVERIFY2(waitFor([this] { return m_platform->clock().nextDue().value_or(0s) < 11s; }), "the request goes on");
}

QTEST_GUILESS_MAIN(AccountConnectionTest)
#include "AccountConnectionTest.moc"
