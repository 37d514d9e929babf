// SPDX-License-Identifier: LicenseRef-Quillmount
#include "IdentityClaim.h"

#include "GoogleStandIn/AuthorizationRequest.h"
#include "GoogleStandIn/TimeText.h"

#include <QJsonDocument>

using namespace Qt::StringLiterals;

namespace quillmount::standin {

namespace {
QString encoded(const QJsonObject &object) {
    return QString::fromLatin1(QJsonDocument(object)
                                   .toJson(QJsonDocument::Compact)
                                   .toBase64(QByteArray::Base64UrlEncoding | QByteArray::OmitTrailingEquals));
}
} // namespace

QString identityToken(const QString &clientId, const QStringList &scopes, const QString &account) {
    if (!scopes.contains("openid"_L1)) {
        return {};
    }
    const qint64 now = nowMs() / 1000;
    QJsonObject claims{{"iss"_L1, "https://accounts.google.com"_L1}, {"azp"_L1, clientId}, {"aud"_L1, clientId},
                       {"sub"_L1, "110169484474386276334"_L1},       {"iat"_L1, now},      {"exp"_L1, now + 3600}};
    if (scopes.contains(QLatin1StringView(AuthorizationRequest::emailScope))) {
        claims.insert("email"_L1, account);
        claims.insert("email_verified"_L1, true);
    }
    const QJsonObject head{{"alg"_L1, "RS256"_L1}, {"kid"_L1, "local"_L1}, {"typ"_L1, "JWT"_L1}};
    return encoded(head) + u'.' + encoded(claims) + u'.' + randomToken({});
}

} // namespace quillmount::standin
