// SPDX-License-Identifier: LicenseRef-Quillmount
#include "App/Support/Keychain.h"
#include "Platform/Linux/LinuxSecretStore.h"
#include "Platform/Testing/ScopedPlatform.h"
#include "Tests/Platform/KeyringWorld.h"

#include <QElapsedTimer>
#include <QLocalServer>
#include <QTest>

#include <csignal>
#include <future>

using namespace quillmount;
using namespace Qt::StringLiterals;
using namespace std::chrono_literals;

// The keychain on a real keyring program, on its good days and its bad ones.
class SecretServiceTest : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void init();
    void cleanup();
    void keepsText();
    void keepsOneItem();
    void leavesALockedCollectionAlone();
    void doesNotMakeACollection();
    void servesManyThreads();
    void survivesTheEndOfTheService_data();
    void survivesTheEndOfTheService();
    void leavesAStoppedServiceAlone();
    void keepsItsCallerTwoSeconds();
    void survivesABadBus_data();
    void survivesABadBus();

private:
    // Replaces the store by one with these limits.
    static void useStore(std::chrono::milliseconds timeout, std::chrono::milliseconds pause);

    std::unique_ptr<ScopedPlatform> m_platform;
    std::unique_ptr<KeyringWorld> m_world;
};

namespace {

const auto token = u"installToken"_s;
const KeyringWorld::Attributes names{{u"service"_s, u"com.orvane.quillmount"_s}, {u"account"_s, token}};

KeyringWorld::Attributes withSchema(KeyringWorld::Attributes attributes) {
    attributes.insert(u"xdg:schema"_s, u"com.orvane.quillmount"_s);
    return attributes;
}

// What a slow machine may add to a limit.
constexpr auto tolerance = 900ms;

template <typename Work>
std::chrono::milliseconds timeOf(Work work) {
    QElapsedTimer timer;
    timer.start();
    work();
    return std::chrono::milliseconds(timer.elapsed());
}

} // namespace

void SecretServiceTest::init() {
    m_platform = std::make_unique<ScopedPlatform>();
    useStore(5s, 200ms);
    m_world = std::make_unique<KeyringWorld>();
    QVERIFY(m_world->startBus());
    QVERIFY(m_world->startKeyring());
}

void SecretServiceTest::cleanup() {
    m_platform.reset();
    m_world.reset();
}

void SecretServiceTest::useStore(std::chrono::milliseconds timeout, std::chrono::milliseconds pause) {
    Platform::current().secretStore = std::make_unique<LinuxSecretStore>(timeout, pause);
}

void SecretServiceTest::keepsText() {
    auto visible = withSchema(names);
    visible.insert(u"label"_s, u"Quillmount: installToken"_s);
    for (const QString &text : {u""_s, u"a\0b"_s + QString(100'000, u'x')}) {
        QCOMPARE(Keychain::get(token), std::nullopt);
        Keychain::set(text, token);
        // Across the end of the keyring program, and for another instance of this one.
        m_world->killKeyring();
        QVERIFY(m_world->startKeyring());
        useStore(5s, 200ms);
        QCOMPARE(Keychain::get(token), std::optional(text));
        QCOMPARE(m_world->items(names), QList{visible});
        Keychain::set(std::nullopt, token);
        QVERIFY(m_world->items(names).isEmpty());
    }
}

void SecretServiceTest::keepsOneItem() {
    auto otherAccount = withSchema(names);
    otherAccount.insert(u"account"_s, u"installID"_s);
    auto otherService = withSchema(names);
    otherService.insert(u"service"_s, u"org.example.other"_s);
    // The same names in another program's schema are another program's item.
    auto otherSchema = names;
    otherSchema.insert(u"xdg:schema"_s, u"org.example.other"_s);
    for (const auto &other : {otherAccount, otherService, otherSchema})
        QVERIFY(m_world->addItem(other, "other"));
    for (int copy = 0; copy < 5; ++copy)
        QVERIFY(m_world->addItem(withSchema(names), "copy"));
    QCOMPARE(Keychain::get(token), std::optional(u"copy"_s));
    Keychain::set(u"one"_s, token);
    Keychain::set(u"two"_s, token);
    QCOMPARE(Keychain::get(token), std::optional(u"two"_s));
    QCOMPARE(m_world->items(withSchema(names)).size(), 1);
    Keychain::set(std::nullopt, token);
    QCOMPARE(m_world->items(withSchema(names)).size(), 0);
    for (const auto &other : {otherAccount, otherService, otherSchema})
        QCOMPARE(m_world->items(other).size(), 1);
}

void SecretServiceTest::leavesALockedCollectionAlone() {
    Keychain::set(u"old"_s, token);
    QVERIFY(m_world->lock());
    const auto time = timeOf([] {
        QCOMPARE(Keychain::get(token), std::nullopt);
        Keychain::set(u"new"_s, token);
        Keychain::set(std::nullopt, token);
    });
    QVERIFY(time < 5s);
    QCoreApplication::processEvents();
    QCOMPARE(m_world->prompts(), 0);
    // A dialog would have been seen.
    m_world->askToUnlock();
    QTRY_VERIFY(m_world->prompts() > 0);

    m_world->killKeyring();
    QVERIFY(m_world->startKeyring());
    QCOMPARE(Keychain::get(token), std::optional(u"old"_s));
}

void SecretServiceTest::doesNotMakeACollection() {
    m_world.reset();
    m_world = std::make_unique<KeyringWorld>();
    QVERIFY(m_world->startBus());
    QVERIFY(m_world->startEmptyKeyring());
    Keychain::set(u"new"_s, token);
    QCOMPARE(Keychain::get(token), std::nullopt);
    QCoreApplication::processEvents();
    QCOMPARE(m_world->prompts(), 0);
}

void SecretServiceTest::servesManyThreads() {
    const int before = m_world->connections();
    std::vector<std::future<bool>> threads;
    for (int number = 0; number < 6; ++number) {
        threads.push_back(std::async(std::launch::async, [number] {
            const QString account = u"account %1"_s.arg(number);
            bool right = true;
            for (int round = 0; round < 3; ++round) {
                const QString text = u"%1 of %2"_s.arg(round).arg(number);
                Keychain::set(text, account);
                right = right && Keychain::get(account) == text;
            }
            return right;
        }));
    }
    for (auto &thread : threads)
        QVERIFY(thread.get());
    // No call leaves a connection behind, and with it a session.
    QTRY_COMPARE(m_world->connections(), before);
}

void SecretServiceTest::survivesTheEndOfTheService_data() {
    QTest::addColumn<bool>("bus");
    QTest::newRow("keyring program") << false;
    QTest::newRow("bus") << true;
}

void SecretServiceTest::survivesTheEndOfTheService() {
    QFETCH(bool, bus);
    const int before = m_world->connections();
    Keychain::set(u"kept"_s, token);
    QTRY_COMPARE(m_world->connections(), before);
    // A stopped service makes sure that the end comes in the middle of the call.
    m_world->signalKeyring(SIGSTOP);
    QElapsedTimer timer;
    timer.start();
    auto value = std::async(std::launch::async, [] { return Keychain::get(token); });
    QTRY_VERIFY(m_world->connections() > before);
    if (bus)
        m_world->killBus();
    m_world->killKeyring();
    QCOMPARE(value.get(), std::nullopt);
    QVERIFY2(timer.elapsed() < 4000, "the end of the service was not noticed");
    QCOMPARE(Keychain::get(token), std::nullopt);
    // It was an answer, and not a service that hangs: there is nothing to wait for.
    if (bus)
        QVERIFY(m_world->startBus());
    QVERIFY(m_world->startKeyring());
    QCOMPARE(Keychain::get(token), std::optional(u"kept"_s));
}

void SecretServiceTest::leavesAStoppedServiceAlone() {
    Keychain::set(u"kept"_s, token);
    useStore(300ms, 1500ms);
    m_world->signalKeyring(SIGSTOP);
    const auto get = [] { QCOMPARE(Keychain::get(token), std::nullopt); };
    const auto waited = timeOf(get);
    QVERIFY(waited >= 300ms && waited < 300ms + tolerance);
    // At once, also when the service would answer again.
    QVERIFY(timeOf(get) < 200ms);
    m_world->signalKeyring(SIGCONT);
    QVERIFY(timeOf(get) < 200ms);
    Keychain::set(u"lost"_s, token);
    // A busy machine may need several attempts.
    QTRY_COMPARE_WITH_TIMEOUT(Keychain::get(token), std::optional(u"kept"_s), 20'000);
}

void SecretServiceTest::keepsItsCallerTwoSeconds() {
    Platform::current().secretStore = std::make_unique<LinuxSecretStore>();
    Keychain::set(u"kept"_s, token);
    m_world->signalKeyring(SIGSTOP);
    // Removing and adding together: the second is not even tried.
    const auto waited = timeOf([] { Keychain::set(u"lost"_s, token); });
    QVERIFY(waited >= 2s && waited < 2s + tolerance);
    // Neither is an answer that nobody waits for any more a reason to hold up the end of the program.
    QVERIFY(timeOf([] { Platform::current().secretStore = std::make_unique<LinuxSecretStore>(5s, 0s); }) < 500ms);
    m_world->signalKeyring(SIGCONT);
    QVERIFY(Keychain::get(token) != std::optional(u"lost"_s));
}

void SecretServiceTest::survivesABadBus_data() {
    QTest::addColumn<QByteArray>("address");
    QTest::addColumn<bool>("listening");
    QTest::newRow("no address") << QByteArray("neither here nor there") << false;
    QTest::newRow("nobody there") << QByteArray("unix:path=%1") << false;
    QTest::newRow("says nothing") << QByteArray("unix:path=%1") << true;
}

void SecretServiceTest::survivesABadBus() {
    QFETCH(QByteArray, address);
    QFETCH(bool, listening);
    const QTemporaryDir folder;
    const QString socket = folder.filePath(u"bus"_s);
    QLocalServer server;
    QVERIFY(!listening || server.listen(socket));
    qputenv("DBUS_SESSION_BUS_ADDRESS", address.replace("%1", socket.toUtf8()));
    useStore(300ms, 1s);
    const auto time = timeOf([] {
        QCOMPARE(Keychain::get(token), std::nullopt);
        Keychain::set(u"new"_s, token);
    });
    QVERIFY(time < 300ms + tolerance);
}

QTEST_GUILESS_MAIN(SecretServiceTest)
#include "SecretServiceTest.moc"
