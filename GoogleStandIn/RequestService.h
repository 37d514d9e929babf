// SPDX-License-Identifier: LicenseRef-Quillmount
#pragma once

#include "GoogleStandIn/ApiError.h"
#include "GoogleStandIn/Call.h"
#include "GoogleStandIn/Faults.h"
#include "GoogleStandIn/RequestLog.h"

namespace quillmount::standin {

// What every server does with a request: it is noted, and a fault that is switched on for it happens. Thread-safe.
class RequestService {
public:
    RequestService(Faults &faults, RequestLog &log)
        : m_faults(faults)
        , m_log(log) {}

    // Serves one request to `host` by `dispatch`, which sends an answer or throws ApiError. Throws Interrupted when a
    // fault has ended the connection, and ConnectionLost.
    void serve(HttpConnection &connection, const HttpRequest &request, const QString &host,
               const std::function<void(Call &)> &dispatch);
    static void sendError(HttpConnection &connection, const ApiError &error);

private:
    void begin(Call &call, const Fault &fault);
    void interrupt(const Fault &fault, Transport &transport);

    Faults &m_faults;
    RequestLog &m_log;
};

} // namespace quillmount::standin
