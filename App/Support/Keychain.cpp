// SPDX-License-Identifier: LicenseRef-Quillmount
#include "App/Support/Keychain.h"

#include "App/Concurrency/Background.h"
#include "Platform/Platform.h"

#include <QStringDecoder>

namespace quillmount {

using namespace Qt::StringLiterals;

namespace {

constexpr auto service = "com.orvane.quillmount"_L1;

Keychain::Lookup findIn(SecretStore &store, const QString &account) {
    const SecretStore::Lookup found = store.find(service, account);
    if (!found.data)
        return {std::nullopt, found.isCertain};
    // Stateless: a sequence that breaks off at the end is an error too. A leading byte order mark belongs to the text.
    QStringDecoder decoder(QStringDecoder::Utf8,
                           QStringDecoder::Flag::Stateless | QStringDecoder::Flag::ConvertInitialBom);
    QString text = decoder.decode(*found.data);
    return {decoder.hasError() ? std::nullopt : std::optional(std::move(text)), true};
}

void storeIn(SecretStore &store, const std::optional<QString> &value, const QString &account) {
    store.remove(service, account);
    if (value)
        store.add(service, account, value->toUtf8());
}

} // namespace

QCoro::Task<Keychain::Lookup> Keychain::find(QString account) {
    const auto found = std::make_shared<Lookup>();
    std::function<int()> look = [found, secrets = Platform::current().secretStore, account] {
        *found = findIn(*secrets, account);
        return 0;
    };
    co_await inBackground(std::move(look));
    co_return *found;
}

QCoro::Task<> Keychain::store(std::optional<QString> value, QString account) {
    std::function<int()> change = [value, secrets = Platform::current().secretStore, account] {
        storeIn(*secrets, value, account);
        return 0;
    };
    co_await inBackground(std::move(change));
}

std::optional<QString> Keychain::get(const QString &account) {
    return findIn(*Platform::current().secretStore, account).value;
}

void Keychain::set(const std::optional<QString> &value, const QString &account) {
    storeIn(*Platform::current().secretStore, value, account);
}

} // namespace quillmount
