// SPDX-License-Identifier: LicenseRef-Quillmount
#include "App/Auth/IdentityToken.h"

#include <QJsonDocument>
#include <QJsonObject>
#include <QStringList>

namespace quillmount {

using namespace Qt::StringLiterals;

std::optional<QString> IdentityToken::email(const QString &token) {
    const QStringList pieces = token.split(u'.', Qt::SkipEmptyParts);
    if (pieces.size() < 2)
        return std::nullopt;
    QByteArray payload = pieces[1].toUtf8();
    payload.replace('-', '+').replace('_', '/');
    while (payload.size() % 4 != 0)
        payload.append('=');
    // Without this option the decoder skips what it does not know and makes something of anything.
    const auto decoded = QByteArray::fromBase64Encoding(std::move(payload), QByteArray::AbortOnBase64DecodingErrors);
    if (!decoded)
        return std::nullopt;
    const QJsonValue address = QJsonDocument::fromJson(*decoded).object().value("email"_L1);
    return address.isString() ? std::optional(address.toString()) : std::nullopt;
}

} // namespace quillmount
