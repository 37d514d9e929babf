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
    void takesDamagedDataAsMissing_data();
    void takesDamagedDataAsMissing();
};

namespace {
const auto service = u"com.orvane.quillmount"_s;
const auto token = u"installToken"_s;
using Items = QList<MemorySecretStore::Item>;
} // namespace

void KeychainTest::keepsText_data() {
    QTest::addColumn<QString>("text");
    QTest::newRow("empty") << u""_s;
    QTest::newRow("non-ASCII") << u"Schlüssel — ключ 鍵 🗝"_s;
    QTest::newRow("byte order mark first") << u"\uFEFFtext"_s;
    QTest::newRow("NUL inside") << QString(u"a\0b"_s);
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

void KeychainTest::takesDamagedDataAsMissing_data() {
    QTest::addColumn<QByteArray>("data");
    QTest::newRow("one byte encoding") << QByteArray("Schl\xFCssel");
    QTest::newRow("broken off at the end") << QByteArray("key \xF0\x9F\x97");
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

QTEST_GUILESS_MAIN(KeychainTest)
#include "KeychainTest.moc"
