// SPDX-License-Identifier: LicenseRef-Quillmount
#pragma once

#include "GoogleStandIn/AuthorizationCodes.h"
#include "GoogleStandIn/IdentityClaim.h"
#include "GoogleStandIn/Listener.h"
#include "GoogleStandIn/RequestService.h"
#include "GoogleStandIn/TokenEndpoint.h"

namespace quillmount::standin {

// Google's accounts without TLS, so that any browser gets there: the page on which the user agrees, and the token
// endpoint. In the list of requests, and to faults, its host is "accounts.google.com".
class AccountsServer {
public:
    // Who answers the question on the page.
    enum class Answerer {
        user,
        agree,  // The page answers itself: the browser is sent on with everything agreed to.
        refuse, // … with a refusal.
        untick, // … with everything but the Drive.
    };

    static constexpr auto authorizationPath = "/o/oauth2/v2/auth";
    static constexpr auto decisionPath = "/o/oauth2/v2/decision";

    // Throws StartError.
    AccountsServer(const Grants &grants, AuthorizationCodes &codes, TokenEndpoint &token, Faults &faults,
                   RequestLog &log);

    quint16 port() const { return m_listener.port(); }
    void setAnswerer(Answerer answerer) { m_answerer = answerer; }
    // Whose browser it is from now on: the e-mail address of the account.
    void setAccount(const QString &account);
    void setNetwork(Listener::Mode mode) { m_listener.setMode(mode); }
    // "agree", "refuse" or "untick"; nothing for another word.
    static std::optional<Answerer> answererNamed(const QString &name);

private:
    void serve(int descriptor);
    void dispatch(Call &call);
    void ask(Call &call);
    void decide(Call &call);
    void sendOn(Call &call, const AuthorizationRequest &request, Answerer answer);
    QString account();
    static void sendPage(Call &call, int status, const QByteArray &page);

    const Grants &m_grants;
    AuthorizationCodes &m_codes;
    TokenEndpoint &m_token;
    RequestService m_service;
    std::mutex m_mutex;
    QString m_account = QLatin1StringView(accountEmail);
    std::atomic<Answerer> m_answerer = Answerer::user;
    Listener m_listener; // Last: its threads use everything above.
};

} // namespace quillmount::standin
