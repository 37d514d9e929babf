// SPDX-License-Identifier: LicenseRef-Quillmount
#include "App/Support/Keychain.h"

#include "Platform/Platform.h"

#include <QStringDecoder>

namespace quillmount {

using namespace Qt::StringLiterals;

namespace {
constexpr auto service = "com.orvane.quillmount"_L1;
} // namespace

std::optional<QString> Keychain::get(const QString &account) {
    const auto data = Platform::current().secretStore->find(service, account);
    if (!data)
        return std::nullopt;
    // Stateless: a sequence that breaks off at the end is an error too. A leading byte order mark belongs to the text.
    QStringDecoder decoder(QStringDecoder::Utf8,
                           QStringDecoder::Flag::Stateless | QStringDecoder::Flag::ConvertInitialBom);
    QString text = decoder.decode(*data);
    return decoder.hasError() ? std::nullopt : std::optional(std::move(text));
}

void Keychain::set(const std::optional<QString> &value, const QString &account) {
    SecretStore &store = *Platform::current().secretStore;
    store.remove(service, account);
    if (value)
        store.add(service, account, value->toUtf8());
}

} // namespace quillmount
