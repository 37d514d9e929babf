// SPDX-License-Identifier: LicenseRef-Quillmount
#pragma once

#include "App/Network/Http.h"

#include <QCoroTask>
#include <QList>
#include <QString>
#include <QUrl>

#include <stop_token>
#include <utility>

namespace quillmount {

// The HTTP client of Google's token endpoint.
namespace TokenEndpoint {

using Fields = QList<std::pair<QString, QString>>;

// The fields as "application/x-www-form-urlencoded"; everything but letters, digits and "-._~" is percent-encoded.
[[nodiscard]] QByteArray formEncode(const Fields &fields);

// Posts the fields, once: a code may be used only once. Throws NetworkError when there is no whole answer within 60
// seconds, and AuthError::cancelled when `stop` is requested.
[[nodiscard]] QCoro::Task<Http::Answer> post(QUrl endpoint, Fields fields, std::stop_token stop);

} // namespace TokenEndpoint
} // namespace quillmount
