// SPDX-License-Identifier: LicenseRef-Quillmount
#include "App/Auth/RedirectRequest.h"

#include <cstdlib>

using namespace quillmount;
using namespace Qt::StringLiterals;

// Whatever arrives at the port gets one of the answers, and no code without the state.
extern "C" int LLVMFuzzerTestOneInput(const char *data, size_t size) {
    const QByteArrayView request(data, qsizetype(size));
    // Short, so that it is found.
    const auto reading = RedirectRequest::read(request, u"s1"_s);
    const bool isSuccess = reading.outcome && std::holds_alternative<QString>(*reading.outcome);
    const bool isDenied = reading.outcome && !isSuccess;
    const QByteArray &status = reading.answer.status;
    if (reading.outcome.has_value() != (status == "200 OK") ||
        (status == "404 Not Found") != reading.answer.body.isEmpty())
        abort();
    if (isSuccess && !request.contains('s') && !request.contains('%'))
        abort();
    if (isDenied && std::get<AuthError::Case>(*reading.outcome) != AuthError::denied)
        abort();
    // Another state never gives a code.
    const auto other = RedirectRequest::read(request, QString(u"s1"_s + QChar(0x10FF)) + QString::fromUtf8(request));
    if (other.outcome && std::holds_alternative<QString>(*other.outcome))
        abort();
    return reading.answer.response().startsWith("HTTP/1.1 ") ? 0 : -1;
}
