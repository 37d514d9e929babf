// SPDX-License-Identifier: LicenseRef-Quillmount
#include "App/Auth/TokenAnswer.h"

#include "App/Auth/AuthError.h"
#include "App/Auth/IdentityToken.h"

#include <QDateTime>
#include <QJsonDocument>
#include <QJsonObject>
#include <QTimeZone>

#include <algorithm>
#include <cmath>

namespace quillmount {

using namespace Qt::StringLiterals;

namespace {

constexpr double standardLifetime = 3600; // seconds

std::optional<QString> text(const QJsonObject &object, QLatin1StringView key) {
    const QJsonValue value = object.value(key);
    return value.isString() ? std::optional(value.toString()) : std::nullopt;
}

// An ISO 8601 instant in UTC with whole seconds, kept to the years that this form can express.
QString expiry(Clock::Instant now, double lifetime) {
    constexpr double lastSecond = 253'402'300'799; // of the year 9999
    const double seconds = double(now.time_since_epoch().count()) / 1000 + lifetime;
    const auto whole = qint64(std::clamp(std::floor(seconds), 0.0, lastSecond));
    return QDateTime::fromSecsSinceEpoch(whole, QTimeZone::utc()).toUTC().toString(Qt::ISODate);
}

} // namespace

GoogleAuth::Result TokenAnswer::result(const QByteArray &body, Clock::Instant now) {
    const QJsonObject answer = QJsonDocument::fromJson(body).object();
    const auto accessToken = text(answer, "access_token"_L1);
    const auto refreshToken = text(answer, "refresh_token"_L1);
    if (!accessToken || !refreshToken)
        throw AuthError(AuthError::exchangeFailed);
    // The user can untick the Drive on Google's page, and still gets tokens.
    const QString granted = text(answer, "scope"_L1).value_or(QString());
    if (!granted.split(u' ').contains(GoogleAuth::driveScope()))
        throw AuthError(AuthError::driveNotGranted);

    const QJsonObject token = {
        {u"access_token"_s, *accessToken},
        {u"token_type"_s, u"Bearer"_s},
        {u"refresh_token"_s, *refreshToken},
        // Through a double, as it may have a fraction; the default is for everything that is not a number.
        {u"expiry"_s, expiry(now, answer.value("expires_in"_L1).toDouble(standardLifetime))},
    };
    GoogleAuth::Result result;
    result.token = QString::fromUtf8(QJsonDocument(token).toJson(QJsonDocument::Compact));
    result.idToken = text(answer, "id_token"_L1);
    if (result.idToken)
        result.email = IdentityToken::email(*result.idToken);
    return result;
}

std::optional<QString> TokenAnswer::idToken(const QByteArray &body) {
    return text(QJsonDocument::fromJson(body).object(), "id_token"_L1);
}

} // namespace quillmount
