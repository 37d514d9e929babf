// SPDX-License-Identifier: LicenseRef-Quillmount
#include "AuthorizationRequest.h"

#include <QRegularExpression>

using namespace Qt::StringLiterals;

namespace quillmount::standin {

namespace {
OAuthError invalid(const QString &description) {
    return {400, u"invalid_request"_s, description};
}

QString required(const Parameters &parameters, const QString &name) {
    if (parameters.value(name).isEmpty())
        throw invalid(u"Missing required parameter: "_s + name);
    return parameters.value(name);
}

// A program on a desktop is reached at a literal loopback address, at whatever port it has.
bool isLoopback(const QString &address) {
    const QUrl url(address, QUrl::StrictMode);
    return url.isValid() && url.scheme() == "http"_L1 && url.port() > 0 && url.userInfo().isEmpty() &&
           !url.hasFragment() && url.host() == "127.0.0.1"_L1;
}

QStringList readScopes(const QString &text) {
    static const QMap<QString, QString> fullNames{
        {u"openid"_s, u"openid"_s},
        {u"email"_s, QLatin1StringView(AuthorizationRequest::emailScope)},
        {QLatin1StringView(AuthorizationRequest::emailScope), QLatin1StringView(AuthorizationRequest::emailScope)},
        {QLatin1StringView(AuthorizationRequest::driveScope), QLatin1StringView(AuthorizationRequest::driveScope)}};
    QStringList scopes;
    const QStringList names = text.split(u' ', Qt::SkipEmptyParts);
    for (const QString &name : names) {
        if (!fullNames.contains(name)) {
            throw OAuthError{400, u"invalid_scope"_s, u"Some requested scopes were invalid: "_s + name};
        }
        if (!scopes.contains(fullNames[name]))
            scopes.append(fullNames[name]);
    }
    return scopes;
}
} // namespace

AuthorizationRequest AuthorizationRequest::read(const Parameters &parameters, const Grants &grants) {
    const QString unknown = parameters.firstNotIn({u"client_id"_s, u"redirect_uri"_s, u"response_type"_s, u"scope"_s,
                                                   u"code_challenge"_s, u"code_challenge_method"_s, u"access_type"_s,
                                                   u"prompt"_s, u"state"_s, u"login_hint"_s, u"hl"_s});
    if (!unknown.isEmpty())
        throw invalid(u"Parameter not allowed for this message type: "_s + unknown);
    AuthorizationRequest request;
    request.clientId = required(parameters, u"client_id"_s);
    if (!grants.knows(request.clientId)) {
        throw OAuthError{401, u"invalid_client"_s, u"The OAuth client was not found."_s};
    }
    request.redirectUri = required(parameters, u"redirect_uri"_s);
    if (!isLoopback(request.redirectUri)) {
        throw OAuthError{400, u"redirect_uri_mismatch"_s, u"The redirect address is not one of a desktop client."_s};
    }
    const QString type = required(parameters, u"response_type"_s);
    if (type != "code"_L1) {
        throw OAuthError{400, u"unsupported_response_type"_s, u"Invalid response_type: "_s + type};
    }
    request.scopes = readScopes(required(parameters, u"scope"_s));
    // Google only recommends PKCE; here nobody gets by without it.
    static const QRegularExpression digest(u"^[A-Za-z0-9_-]{43}$"_s);
    request.challenge = required(parameters, u"code_challenge"_s);
    if (required(parameters, u"code_challenge_method"_s) != "S256"_L1 || !digest.match(request.challenge).hasMatch())
        throw invalid(u"The code challenge is not one of the method S256."_s);
    const QString access = parameters.value(u"access_type"_s);
    const QString prompt = parameters.value(u"prompt"_s);
    if (!QStringList{QString(), u"online"_s, u"offline"_s}.contains(access))
        throw invalid(u"Invalid parameter value for access_type"_s);
    if (!QStringList{QString(), u"consent"_s, u"select_account"_s}.contains(prompt))
        throw invalid(u"Invalid parameter value for prompt"_s);
    request.offline = access == "offline"_L1;
    request.consent = prompt == "consent"_L1;
    request.state = parameters.value(u"state"_s);
    return request;
}

QByteArray AuthorizationRequest::redirection(const QList<QPair<QString, QString>> &parameters) const {
    QByteArray query;
    const auto add = [&query](const QString &name, const QString &value) {
        query += (query.isEmpty() ? "" : "&") + name.toLatin1() + '=' + QUrl::toPercentEncoding(value);
    };
    if (!state.isEmpty())
        add(u"state"_s, state);
    for (const auto &[name, value] : parameters)
        add(name, value);
    QUrl url(redirectUri, QUrl::StrictMode);
    if (url.path().isEmpty())
        url.setPath(u"/"_s);
    return url.toEncoded() + (url.hasQuery() ? '&' : '?') + query;
}

} // namespace quillmount::standin
