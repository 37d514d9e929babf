// SPDX-License-Identifier: LicenseRef-Quillmount
#include "RequestService.h"

#include <QScopeGuard>

#include <sys/socket.h>

using namespace Qt::StringLiterals;

namespace quillmount::standin {

void RequestService::sendError(HttpConnection &connection, const ApiError &error) {
    HttpHeaders headers{{"Content-Type", "application/json; charset=UTF-8"}};
    if (error.status() == 401) {
        headers.emplace_back("WWW-Authenticate",
                             "Bearer realm=\"https://accounts.google.com/\", error=\"invalid_token\"");
    }
    connection.send(error.status(), headers, error.toJson());
}

void RequestService::begin(Call &call, const Fault &fault) {
    if (fault.status != 0)
        throw ApiError(fault.status, fault.reason, fault.message);
    call.connection.setInterference(fault.interference);
    if (fault.interference.requestBytes == 0)
        throw Interrupted();
}

void RequestService::serve(HttpConnection &connection, const HttpRequest &request, const QString &host,
                           const std::function<void(Call &)> &dispatch) {
    const qint64 number = m_log.begin(QString::fromLatin1(request.method), host, request.path, request.query);
    Call call{.connection = connection, .request = request, .parameters = {}, .viewer = {}, .kind = u"unknown"_s};
    QString outcome = u"lost"_s;
    const auto note = qScopeGuard([&] {
        connection.setAnswerObserver(nullptr);
        m_log.end(number, call.kind, connection.statusSent(), outcome, connection.bodyBytesRead(),
                  connection.bodyBytesSent());
    });
    connection.setAnswerObserver(
        [&](int status) { m_log.answering(number, call.kind, status, connection.bodyBytesRead()); });
    const std::optional<Fault> fault = m_faults.match(host, request);
    try {
        try {
            if (fault)
                begin(call, *fault);
            dispatch(call);
            connection.drainBody();
        } catch (const ApiError &error) {
            if (connection.statusSent() != 0)
                throw ConnectionLost();
            connection.drainBody();
            if (request.path == "/token") {
                call.sendJson(error.status(),
                              {{"error"_L1, error.reason()}, {"error_description"_L1, error.message()}});
            } else {
                sendError(connection, error);
            }
        }
        outcome = u"answered"_s;
    } catch (const Interrupted &) {
        outcome = fault->interference.end == Interference::End::stall ? u"stalled"_s : u"dropped"_s;
        interrupt(*fault, connection.transport());
        throw;
    }
}

void RequestService::interrupt(const Fault &fault, Transport &transport) {
    if (fault.interference.end == Interference::End::stall)
        m_faults.hold(fault.id, transport.descriptor());
    // Cut without the words that end a TLS connection in good order.
    const linger now{.l_onoff = 1, .l_linger = 0};
    ::setsockopt(transport.descriptor(), SOL_SOCKET, SO_LINGER, &now, sizeof now);
    ::shutdown(transport.descriptor(), SHUT_RDWR);
}

} // namespace quillmount::standin
