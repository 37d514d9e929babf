// SPDX-License-Identifier: LicenseRef-Quillmount
#include "App/Auth/RedirectListener.h"
#include "App/Auth/AuthPage.h"
#include "App/Auth/GoogleAuth.h"
#include "Platform/Testing/ScopedPlatform.h"
#include "Tests/App/Auth/Browser.h"
#include "Tests/Support/Started.h"
#include "Tests/Support/WaitFor.h"

#include <QHostAddress>
#include <QNetworkInterface>
#include <QtTest>

#include <algorithm>
#include <cerrno>
#include <memory>
#include <sys/resource.h>
#include <sys/socket.h>
#include <unistd.h>
#include <vector>

using namespace quillmount;
using namespace Qt::StringLiterals;
using namespace std::chrono_literals;

namespace {

QByteArray page(bool success, const QByteArray &status = "200 OK") {
    return RedirectRequest::Answer{status, AuthPage::html(success)}.response();
}

const QByteArray redirect = "/?state=the-state&code=the-code&scope=email";

} // namespace

class RedirectListenerTest : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void init();
    void cleanup();

    void redirectEndsTheWait();
    void redirectBeforeTheWait();
    void onlyLoopback();
    void refusal();
    void replay();
    void strangers_data();
    void strangers();
    void answerOutlivesTheRequest();
    void anotherUser();
    void idleConnections();
    void unreadRequestIsNotIdle();
    void silentConnectionsTimeOut();
    void answerIsNotHeldUp();
    void noDescriptorsLeft();
    void timeout();
    void firstResultCounts();

private:
    using Code = std::shared_ptr<const Outcome<QString>>;

    [[nodiscard]] Code waiting();
    [[nodiscard]] static bool isOpen(quint16 port);
    // The true redirect is answered with the page and its code arrives.
    void verifySignIn(const Code &code);

    std::unique_ptr<ScopedPlatform> m_platform;
    std::unique_ptr<GoogleAuth> m_auth;
    quint16 m_port = 0;
};

void RedirectListenerTest::init() {
    m_platform = std::make_unique<ScopedPlatform>();
    m_auth = std::make_unique<GoogleAuth>();
    m_port = m_auth->startListener(u"the-state"_s);
}

void RedirectListenerTest::cleanup() {
    m_auth.reset();
    // Nothing of it is left behind, whatever the test did.
    m_platform->clock().advance(12s);
    QVERIFY(waitFor([] { return !QCoreApplication::instance()->findChild<RedirectListener *>(); }));
    m_platform.reset();
}

RedirectListenerTest::Code RedirectListenerTest::waiting() {
    return started(m_auth->waitForCode());
}

bool RedirectListenerTest::isOpen(quint16 port) {
    QTcpSocket socket;
    socket.connectToHost(QHostAddress(QHostAddress::LocalHost), port);
    return socket.waitForConnected();
}

void RedirectListenerTest::verifySignIn(const Code &code) {
    Browser browser(m_port);
    browser.get(redirect);
    QCOMPARE(browser.received(), page(true));
    QVERIFY(waitFor([&] { return code->isDone; }));
    QCOMPARE(code->value, std::optional(u"the-code"_s));
}

void RedirectListenerTest::redirectEndsTheWait() {
    const Code code = waiting();
    QVERIFY(isOpen(m_port));
    verifySignIn(code);
    QVERIFY2(!isOpen(m_port), "the port is still open");
    QVERIFY2(m_platform->clock().nextDue() <= 10s, "the wait for the browser goes on");
}

void RedirectListenerTest::redirectBeforeTheWait() {
    Browser first(m_port);
    first.get(redirect);
    QCOMPARE(first.received(), page(true));
    Browser second(m_port);
    second.get("/?error=late");
    QCOMPARE(second.received(), page(false));

    const Code code = waiting();
    QVERIFY2(code->isDone, "it is returned at once");
    QCOMPARE(code->value, std::optional(u"the-code"_s));
    QVERIFY(!isOpen(m_port));
}

void RedirectListenerTest::onlyLoopback() {
    QStringList others = {u"127.0.0.2"_s, u"::1"_s};
    const QList<QHostAddress> own = QNetworkInterface::allAddresses();
    for (const QHostAddress &address : own)
        if (!address.isLoopback())
            others.append(address.toString());
    for (const QString &address : std::as_const(others)) {
        QTcpSocket socket;
        socket.connectToHost(QHostAddress(address), m_port);
        QVERIFY2(!socket.waitForConnected(2000), qPrintable(address));
    }
}

void RedirectListenerTest::refusal() {
    const Code code = waiting();
    Browser browser(m_port);
    browser.get("/?error=access_denied&state=the-state");
    // The owner goes as soon as it knows, and the page still arrives.
    QVERIFY(waitFor([&] { return code->isDone; }));
    m_auth.reset();
    QCOMPARE(browser.received(), page(false));
    const auto error = code->thrown<AuthError>();
    QVERIFY(error && error->which() == AuthError::denied);
}

void RedirectListenerTest::replay() {
    Browser early(m_port);
    QVERIFY(early.socket().waitForConnected());
    const Code code = waiting();
    verifySignIn(code);
    // A new attempt on the same object: the old state is worth nothing to it.
    m_port = m_auth->startListener(u"the next state"_s);
    const Code next = waiting();
    early.get(redirect);
    QCOMPARE(early.received(), page(true));
    Browser late(m_port);
    late.get(redirect);
    QCOMPARE(late.received(), page(false, "400 Bad Request"));
    QVERIFY(!next->isDone);
}

void RedirectListenerTest::strangers_data() {
    QTest::addColumn<QByteArray>("bytes");
    QTest::addColumn<QByteArray>("answer");
    const QByteArray notFound = RedirectRequest::Answer{"404 Not Found", {}}.response();
    QTest::newRow("half a line") << QByteArray("GET /?state=the-sta") << page(false, "400 Bad Request");
    QTest::newRow("TLS") << QByteArray::fromHex("160301020001000100fc0303") + QByteArray(500, '\xAA') << notFound;
    QTest::newRow("endless line") << "GET /" + QByteArray(900'000, 'a') << notFound;
    QTest::newRow("endless headers") << "GET / HTTP/1.1\r\n" + QByteArray("X: y\r\n").repeated(100'000)
                                     << page(false, "400 Bad Request");
}

void RedirectListenerTest::strangers() {
    QFETCH(QByteArray, bytes);
    const Code code = waiting();
    Browser stranger(m_port);
    stranger.send(bytes);
    QTEST(stranger.received(), "answer");
    QVERIFY(!code->isDone);

    // The same, piece by piece, by one who then hangs on.
    Browser slow(m_port);
    for (qsizetype i = 0; i < std::min<qsizetype>(bytes.size(), 20); ++i) {
        slow.send(bytes.mid(i, 1));
        handleEvents();
    }
    verifySignIn(code);
}

// A connection that is closed over unread input is reset, and then some systems drop what the other side has not read.
void RedirectListenerTest::answerOutlivesTheRequest() {
    Browser browser(m_port);
    browser.socket().setReadBufferSize(1);
    browser.send("GET /?error=x HTTP/1.1\r\n" + QByteArray("X: y\r\n").repeated(100'000));
    QVERIFY(waitFor([&] { return browser.socket().bytesAvailable() == 1 && browser.socket().bytesToWrite() == 0; }));
    for (int i = 0; i < 20; ++i)
        handleEvents();

    QByteArray received = browser.socket().read(1);
    ssize_t count = -1;
    const bool ended = waitFor([&] {
        char piece[4096];
        while ((count = ::recv(int(browser.socket().socketDescriptor()), piece, sizeof piece, MSG_DONTWAIT)) > 0)
            received.append(piece, count);
        return count == 0 || errno != EAGAIN;
    });
    QVERIFY2(ended && count == 0, "the connection was reset");
    QCOMPARE(received, page(false));
}

void RedirectListenerTest::idleConnections() {
    const Code code = waiting();
    std::vector<std::unique_ptr<Browser>> idle;
    for (int i = 0; i < 200; ++i) {
        idle.push_back(std::make_unique<Browser>(m_port));
        handleEvents();
    }
    const auto open = [&] {
        return std::count_if(idle.begin(), idle.end(), [](const auto &browser) { return browser->isConnected(); });
    };
    QVERIFY(waitFor([&] { return open() <= 32; }));
    QVERIFY2(idle.back()->isConnected(), "the newest has its turn");
    QVERIFY2(m_platform->clock().pending() <= 33, "those that are gone have left their timers");
    // Others are gone before they are seen.
    for (int i = 0; i < 60; ++i)
        QVERIFY(isOpen(m_port));
    verifySignIn(code);
}

void RedirectListenerTest::anotherUser() {
    const Code code = waiting();
    m_platform->localPeers().setForeign(true);
    Browser stranger(m_port);
    stranger.get(redirect);
    QVERIFY(waitFor([&] { return stranger.socket().state() == QAbstractSocket::UnconnectedState; }));
    QCOMPARE(stranger.socket().readAll(), QByteArray());
    QVERIFY(!code->isDone);
    m_platform->localPeers().setForeign(false);
    verifySignIn(code);
}

// The browser's request lies unread while connection after connection is accepted behind it.
void RedirectListenerTest::unreadRequestIsNotIdle() {
    const Code code = waiting();
    Browser browser(m_port);
    QVERIFY(browser.socket().waitForConnected());
    browser.get(redirect);
    QVERIFY(browser.socket().waitForBytesWritten());
    std::vector<std::unique_ptr<Browser>> idle;
    for (int i = 0; i < 100; ++i) {
        idle.push_back(std::make_unique<Browser>(m_port));
        QVERIFY(idle.back()->socket().waitForConnected());
    }
    QCOMPARE(browser.received(), page(true));
    QVERIFY(waitFor([&] { return code->isDone; }));
    QCOMPARE(code->value, std::optional(u"the-code"_s));
}

void RedirectListenerTest::silentConnectionsTimeOut() {
    const Code code = waiting();
    Browser silent(m_port);
    QVERIFY(waitFor([&] { return silent.isConnected() && m_platform->clock().pending() > 1; }));
    m_platform->clock().advance(9900ms);
    handleEvents();
    QVERIFY(silent.isConnected());
    m_platform->clock().advance(100ms);
    QCOMPARE(silent.received(), QByteArray());
    verifySignIn(code);
}

void RedirectListenerTest::answerIsNotHeldUp() {
    const Code code = waiting();
    Browser talker(m_port);
    talker.send(QByteArray(64 * 1024 * 1024, 'x'));
    QVERIFY(waitFor([&] { return talker.socket().state() == QAbstractSocket::UnconnectedState; }));
    QVERIFY2(talker.taken() < 32 * 1024 * 1024, "all of it was read");
    verifySignIn(code);
}

void RedirectListenerTest::noDescriptorsLeft() {
    const Code code = waiting();
    Browser idle(m_port);
    QVERIFY(waitFor([&] { return idle.isConnected() && m_platform->clock().pending() > 1; }));
    Browser browser(m_port);
    QVERIFY(browser.socket().waitForConnected());
    browser.get(redirect);
    QVERIFY(browser.socket().waitForBytesWritten());

    // All that the process may have are taken: those that are free now by copies of one.
    rlimit limit = {};
    getrlimit(RLIMIT_NOFILE, &limit);
    const rlimit scarce = {64, limit.rlim_max};
    setrlimit(RLIMIT_NOFILE, &scarce);
    std::vector<int> copies;
    for (int copy = dup(0); copy >= 0; copy = dup(0))
        copies.push_back(copy);
    // The silent one makes room.
    const bool idleWent = waitFor([&] { return !idle.isConnected(); });
    const bool tooEarly = code->isDone;
    m_platform->clock().advance(100ms);
    const bool arrived = waitFor([&] { return code->isDone; });
    for (const int copy : copies)
        close(copy);
    setrlimit(RLIMIT_NOFILE, &limit);
    QVERIFY(idleWent && !tooEarly && arrived);
    QCOMPARE(browser.received(), page(true));
}

void RedirectListenerTest::timeout() {
    const Code code = waiting();
    Browser idle(m_port);
    m_platform->clock().advance(299'999ms);
    QVERIFY(!code->isDone && isOpen(m_port));
    m_platform->clock().advance(1ms);
    QVERIFY(code->isDone);
    const auto error = code->thrown<AuthError>();
    QVERIFY(error && error->which() == AuthError::timedOut);
    QVERIFY(!isOpen(m_port));
}

void RedirectListenerTest::firstResultCounts() {
    const Code code = waiting();
    m_auth->finish(u"first"_s);
    m_auth->finish(AuthError::cancelled);
    QVERIFY2(!code->isDone, "never inside the caller");
    QVERIFY(waitFor([&] { return code->isDone; }));
    QCOMPARE(code->value, std::optional(u"first"_s));
    // Nothing is kept for a sign-in that is over.
    m_auth->finish(AuthError::denied);
    handleEvents();
    m_port = m_auth->startListener(u"the-state"_s);
    verifySignIn(waiting());
}

QTEST_GUILESS_MAIN(RedirectListenerTest)
#include "RedirectListenerTest.moc"
