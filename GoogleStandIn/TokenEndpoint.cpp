// SPDX-License-Identifier: LicenseRef-Quillmount
#include "TokenEndpoint.h"

#include "GoogleStandIn/ApiError.h"
#include "GoogleStandIn/IdentityClaim.h"
#include "GoogleStandIn/TimeText.h"

using namespace Qt::StringLiterals;

namespace quillmount::standin {

namespace {
constexpr qint64 formLimit = 64 * 1024;
const HttpHeaders noStore{{"Cache-Control", "no-store"}};

struct Client {
    QString id;
    QString secret;
};

Client readClient(const HttpRequest &request, const Parameters &form) {
    Client inForm{form.value(u"client_id"_s), form.value(u"client_secret"_s)};
    const QByteArray header = request.header("Authorization");
    if (!header.startsWith("Basic "))
        return inForm;
    const QByteArray pair = QByteArray::fromBase64(header.mid(6));
    const qsizetype colon = pair.indexOf(':');
    if (colon < 0 || !inForm.secret.isEmpty()) {
        throw OAuthError{400, u"invalid_request"_s, u"More than one way to name the client."_s};
    }
    // Both halves are form-encoded before they are put together.
    QByteArray id = pair.left(colon);
    QByteArray secret = pair.mid(colon + 1);
    return {percentDecoded(id.replace('+', ' ')), percentDecoded(secret.replace('+', ' '))};
}

void requireOnly(const Parameters &form, const QStringList &ofTheGrant) {
    QSet<QString> known{u"grant_type"_s, u"client_id"_s, u"client_secret"_s};
    for (const QString &name : ofTheGrant) {
        known.insert(name);
        if (form.value(name).isEmpty() && name != "code_verifier"_L1) {
            throw OAuthError{400, u"invalid_request"_s, u"Missing required parameter: "_s + name};
        }
    }
    const QString unknown = form.firstNotIn(known);
    if (!unknown.isEmpty()) {
        throw OAuthError{400, u"invalid_request"_s, u"Parameter not allowed for this message type: "_s + unknown};
    }
}

QJsonObject answer(const AccessToken &access, const QString &clientId, const QString &scope, const QString &account) {
    QJsonObject object{{"access_token"_L1, access.token},
                       {"expires_in"_L1, (access.expiresMs - nowMs() + 500) / 1000},
                       {"scope"_L1, scope},
                       {"token_type"_L1, "Bearer"_L1}};
    if (const QString identity = identityToken(clientId, scope.split(u' '), account); !identity.isEmpty())
        object.insert("id_token"_L1, identity);
    return object;
}
} // namespace

void TokenEndpoint::handle(Call &call) {
    call.kind = u"token"_s;
    try {
        if (call.request.method != "POST") {
            throw OAuthError{405, u"invalid_request"_s, u"Only POST is allowed."_s};
        }
        if (!call.request.header("Content-Type").startsWith("application/x-www-form-urlencoded")) {
            throw OAuthError{400, u"invalid_request"_s, u"The body must be a form."_s};
        }
        const Parameters form = Parameters::parse(call.connection.readWholeBody(formLimit));
        const Client client = readClient(call.request, form);
        const QString grant = form.value(u"grant_type"_s);
        if (grant == "authorization_code"_L1) {
            redeem(call, form, client.id, client.secret);
        } else if (grant == "refresh_token"_L1) {
            refresh(call, form, client.id, client.secret);
        } else {
            throw OAuthError{400, u"unsupported_grant_type"_s, u"Invalid grant_type: "_s + grant};
        }
    } catch (const OAuthError &error) {
        call.connection.drainBody();
        call.sendJson(error.status, {{"error"_L1, error.error}, {"error_description"_L1, error.description}});
    } catch (const ApiError &error) {
        call.connection.drainBody();
        call.sendJson(error.status(), {{"error"_L1, "invalid_request"_L1}, {"error_description"_L1, error.message()}});
    }
}

void TokenEndpoint::redeem(Call &call, const Parameters &form, const QString &clientId, const QString &clientSecret) {
    call.kind = u"token.code"_s;
    requireOnly(form, {u"code"_s, u"redirect_uri"_s, u"code_verifier"_s});
    m_grants.checkClient(clientId, clientSecret);
    const AuthorizationCodes::Agreement agreement =
        m_codes.redeem(form.value(u"code"_s), clientId, form.value(u"redirect_uri"_s), form.value(u"code_verifier"_s));
    QString refreshToken;
    const QString scope = agreement.scopes.join(u' ');
    const AccessToken access = m_grants.issue(clientId, scope, agreement.account, agreement.refreshable, &refreshToken);
    QJsonObject object = answer(access, clientId, scope, agreement.account);
    if (!refreshToken.isEmpty())
        object.insert("refresh_token"_L1, refreshToken);
    call.sendJson(200, object, noStore);
}

void TokenEndpoint::refresh(Call &call, const Parameters &form, const QString &clientId, const QString &clientSecret) {
    call.kind = u"token.refresh"_s;
    requireOnly(form, {u"refresh_token"_s});
    QString scope;
    QString account;
    const AccessToken access =
        m_grants.refresh(clientId, clientSecret, form.value(u"refresh_token"_s), &scope, &account);
    call.sendJson(200, answer(access, clientId, scope, account), noStore);
}

} // namespace quillmount::standin
