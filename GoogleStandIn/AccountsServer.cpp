// SPDX-License-Identifier: LicenseRef-Quillmount
#include "AccountsServer.h"

#include "GoogleStandIn/ConsentPage.h"

using namespace Qt::StringLiterals;

namespace quillmount::standin {

namespace {
const QString accountsHost = u"accounts.google.com"_s;
constexpr qint64 formLimit = 64 * 1024;
} // namespace

AccountsServer::AccountsServer(const Grants &grants, AuthorizationCodes &codes, TokenEndpoint &token, Faults &faults,
                               RequestLog &log)
    : m_grants(grants)
    , m_codes(codes)
    , m_token(token)
    , m_service(faults, log)
    , m_listener([this](int descriptor) { serve(descriptor); }) {}

std::optional<AccountsServer::Answerer> AccountsServer::answererNamed(const QString &name) {
    static const QMap<QString, Answerer> names{
        {u"agree"_s, Answerer::agree}, {u"refuse"_s, Answerer::refuse}, {u"untick"_s, Answerer::untick}};
    return names.contains(name) ? std::optional(names[name]) : std::nullopt;
}

void AccountsServer::setAccount(const QString &account) {
    const std::lock_guard lock(m_mutex);
    m_account = account;
}

QString AccountsServer::account() {
    const std::lock_guard lock(m_mutex);
    return m_account;
}

void AccountsServer::serve(int descriptor) {
    PlainTransport transport(descriptor);
    HttpConnection connection(transport);
    try {
        while (connection.keepAlive()) {
            try {
                const std::optional<HttpRequest> request = connection.readRequest();
                if (!request)
                    return;
                m_service.serve(connection, *request, accountsHost, [this](Call &call) { dispatch(call); });
            } catch (const ApiError &error) {
                RequestService::sendError(connection, error);
                return;
            }
        }
    } catch (const std::exception &) {
        // The peer went away, or a fault has cut the connection.
    }
}

void AccountsServer::dispatch(Call &call) {
    const QByteArray port = QByteArray::number(m_listener.port());
    const QByteArray host = call.request.header("Host");
    if (host != "127.0.0.1:" + port && host != "localhost:" + port)
        throw ApiError::badRequest(u"The Host header names another host."_s);
    const QByteArray &path = call.request.path;
    if (path == "/token") {
        m_token.handle(call);
        return;
    }
    try {
        if (path == authorizationPath && call.request.method == "GET") {
            ask(call);
        } else if (path == decisionPath && call.request.method == "POST") {
            decide(call);
        } else {
            throw OAuthError{404, u"not_found"_s, u"There is nothing at this address."_s};
        }
    } catch (const OAuthError &error) {
        call.connection.drainBody();
        sendPage(call, error.status, ConsentPage::blocked(error));
    } catch (const ApiError &error) {
        call.connection.drainBody();
        sendPage(call, error.status(), ConsentPage::blocked({error.status(), u"invalid_request"_s, error.message()}));
    }
}

void AccountsServer::ask(Call &call) {
    call.kind = u"auth.page"_s;
    const auto request = AuthorizationRequest::read(Parameters::parse(call.request.query), m_grants);
    if (const Answerer answerer = m_answerer; answerer != Answerer::user) {
        sendOn(call, request, answerer);
        return;
    }
    const QString ticket = m_codes.ask(request);
    sendPage(call, 200, ConsentPage::question(request, ticket, QLatin1StringView(decisionPath), account()));
}

void AccountsServer::decide(Call &call) {
    call.kind = u"auth.decision"_s;
    const Parameters form = Parameters::parse(call.connection.readWholeBody(formLimit));
    const QString decision = form.value(u"decision"_s);
    if (decision != "agree"_L1 && decision != "refuse"_L1) {
        throw OAuthError{400, u"invalid_request"_s, u"The page was not answered."_s};
    }
    const auto request = m_codes.answer(form.value(u"ticket"_s));
    if (!request) {
        throw OAuthError{400, u"invalid_request"_s,
                         u"This page was answered before. Start again in the application."_s};
    }
    sendOn(call, *request,
           decision == "refuse"_L1     ? Answerer::refuse
           : form.contains(u"drive"_s) ? Answerer::agree
                                       : Answerer::untick);
}

void AccountsServer::sendOn(Call &call, const AuthorizationRequest &request, Answerer answer) {
    QByteArray address;
    if (answer == Answerer::refuse) {
        address = request.redirection({{u"error"_s, u"access_denied"_s}});
    } else {
        const QString code = m_codes.issue(request, answer == Answerer::agree, account());
        address = request.redirection({{u"iss"_s, u"https://accounts.google.com"_s},
                                       {u"code"_s, code},
                                       {u"authuser"_s, u"0"_s},
                                       {u"prompt"_s, u"consent"_s}});
    }
    // "See other": the browser must not post the decision to the application.
    call.connection.send(
        303, {{"Location", address}, {"Cache-Control", "no-store"}, {"Referrer-Policy", "no-referrer"}}, {});
}

void AccountsServer::sendPage(Call &call, int status, const QByteArray &page) {
    // The form leads on to the application's port, which a browser counts as a target of the form.
    call.connection.send(status,
                         {{"Content-Type", "text/html; charset=utf-8"},
                          {"Cache-Control", "no-store"},
                          {"Referrer-Policy", "no-referrer"},
                          {"X-Content-Type-Options", "nosniff"},
                          {"Content-Security-Policy", "default-src 'none'; style-src 'unsafe-inline'; base-uri 'none'; "
                                                      "frame-ancestors 'none'; form-action 'self' http://127.0.0.1:*"}},
                         page);
}

} // namespace quillmount::standin
