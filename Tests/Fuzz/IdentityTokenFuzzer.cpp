// SPDX-License-Identifier: LicenseRef-Quillmount
#include "App/Auth/IdentityToken.h"
#include "App/Auth/TokenAnswer.h"

#include <QJsonDocument>
#include <QJsonObject>

#include <cstdlib>

using namespace quillmount;
using namespace Qt::StringLiterals;

// The first byte says what the rest is: a token, the payload of one, or the body of an answer of the token endpoint.
extern "C" int LLVMFuzzerTestOneInput(const char *data, size_t size) {
    if (size == 0)
        return -1;
    const QByteArray rest(data + 1, qsizetype(size) - 1);
    switch (data[0] % 3) {
    case 0:
        (void)IdentityToken::email(QString::fromUtf8(rest));
        break;
    case 1: {
        // What the reader finds is what is there, whatever the length makes of the padding.
        const auto form = QByteArray::Base64UrlEncoding | QByteArray::OmitTrailingEquals;
        const auto email = IdentityToken::email(u"h."_s + QString::fromLatin1(rest.toBase64(form)) + u".s"_s);
        const QJsonValue there = QJsonDocument::fromJson(rest).object().value("email"_L1);
        if (email.has_value() != there.isString() || (email && *email != there.toString()))
            abort();
        break;
    }
    default:
        try {
            const auto result = TokenAnswer::result(rest, Clock::Instant(std::chrono::seconds(1'768'478'400)));
            const QJsonObject token = QJsonDocument::fromJson(result.token.toUtf8()).object();
            if (token.size() != 4 || result.token.contains(u'\n') || token["expiry"_L1].toString().size() != 20)
                abort();
        } catch (const AuthError &) {
        }
    }
    return 0;
}
