// SPDX-License-Identifier: LicenseRef-Quillmount
#include "App/Auth/TokenEndpoint.h"

#include "App/Auth/AuthError.h"
#include "App/Network/NetworkError.h"

namespace quillmount {

using namespace std::chrono_literals;

QByteArray TokenEndpoint::formEncode(const Fields &fields) {
    QByteArray form;
    for (const auto &[name, value] : fields) {
        if (!form.isEmpty())
            form += '&';
        form += QUrl::toPercentEncoding(name) + '=' + QUrl::toPercentEncoding(value);
    }
    return form;
}

QCoro::Task<Http::Answer> TokenEndpoint::post(QUrl endpoint, Fields fields, std::stop_token stop) {
    Http::Post request;
    request.url = std::move(endpoint);
    request.contentType = "application/x-www-form-urlencoded";
    request.body = formEncode(fields);
    request.timeout = 60s;
    request.maxAnswer = 1024 * 1024; // longer than any answer with tokens is
    fields.clear();
    try {
        Http::Answer answer = co_await Http::post(std::move(request), stop);
        co_return answer;
    } catch (const NetworkError &) {
        if (stop.stop_requested())
            throw AuthError(AuthError::cancelled);
        throw;
    }
}

} // namespace quillmount
