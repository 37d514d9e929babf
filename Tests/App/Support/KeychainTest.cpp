// SPDX-License-Identifier: LicenseRef-Quillmount
#include "App/Support/Keychain.h"
#include "Platform/Testing/ScopedPlatform.h"

#include <QTest>

using namespace quillmount;
using namespace Qt::StringLiterals;

// What the application makes of a store that does as it is told.
class KeychainTest : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void keepsText_data();
    void keepsText();
    void changesNothingElse();
    void takesDamagedDataAsMissing_data();
    void takesDamagedDataAsMissing();
    void takesALockedStoreAsEmpty();
};

namespace {
const auto service = u"com.orvane.quillmount"_s;
const auto token = u"installToken"_s;
using Items = QList<MemorySecretStore::Item>;
} // namespace

void KeychainTest::keepsText_data() {
    QTest::addColumn<QString>("text");
    QTest::newRow("identifier") << u"0F6E2E0A-33B2-4F0D-9E2B-6C3B4E9F0A11"_s;
    QTest::newRow("empty") << u""_s;
    QTest::newRow("non-ASCII") << u"Schlüssel — ключ 鍵 🗝"_s;
    QTest::newRow("decomposed") << u"e\u0301"_s;
    QTest::newRow("byte order mark first") << u"\uFEFFtext"_s;
    QTest::newRow("NUL inside") << QString(u"a\0b"_s);
    QTest::newRow("line ends") << u"a\r\nb\n"_s;
}

void KeychainTest::keepsText() {
    QFETCH(QString, text);
    const ScopedPlatform platform;
    Keychain::set(u"before"_s, token);
    Keychain::set(text, token);
    QCOMPARE(Keychain::get(token), std::optional(text));
    QCOMPARE(platform.secretStore().items(), (Items{{service, token, text.toUtf8()}}));
    Keychain::set(std::nullopt, token);
    QCOMPARE(Keychain::get(token), std::nullopt);
    QCOMPARE(platform.secretStore().items(), Items());
    Keychain::set(std::nullopt, token);
}

void KeychainTest::changesNothingElse() {
    const ScopedPlatform platform;
    MemorySecretStore &store = platform.secretStore();
    store.add(service, u"installID"_s, "id");
    store.add(u"org.example.other"_s, token, "other");
    const Items before = store.items();
    QCOMPARE(Keychain::get(token), std::nullopt);
    Keychain::set(u"mine"_s, token);
    Keychain::set(std::nullopt, token);
    QCOMPARE(store.items(), before);
}

void KeychainTest::takesDamagedDataAsMissing_data() {
    QTest::addColumn<QByteArray>("data");
    QTest::newRow("one byte encoding") << QByteArray("Schl\xFCssel");
    QTest::newRow("broken off at the end") << QByteArray("key \xF0\x9F\x97");
    QTest::newRow("overlong") << QByteArray("\xC0\xAF");
    QTest::newRow("surrogate") << QByteArray("\xED\xA0\x80");
    QTest::newRow("two byte encoding") << QByteArray("\xFF\xFE\x61\x00", 4);
}

void KeychainTest::takesDamagedDataAsMissing() {
    QFETCH(QByteArray, data);
    const ScopedPlatform platform;
    platform.secretStore().add(service, token, data);
    QCOMPARE(Keychain::get(token), std::nullopt);
    Keychain::set(u"new"_s, token);
    QCOMPARE(platform.secretStore().items(), (Items{{service, token, "new"}}));
}

void KeychainTest::takesALockedStoreAsEmpty() {
    const ScopedPlatform platform;
    Keychain::set(u"old"_s, token);
    platform.secretStore().setLocked(true);
    QCOMPARE(Keychain::get(token), std::nullopt);
    Keychain::set(u"new"_s, token);
    Keychain::set(std::nullopt, token);
    platform.secretStore().setLocked(false);
    QCOMPARE(Keychain::get(token), std::optional(u"old"_s));
}

QTEST_GUILESS_MAIN(KeychainTest)
#include "KeychainTest.moc"
