// SPDX-License-Identifier: LicenseRef-Quillmount
#pragma once

#include "Platform/Clock.h"

#include <QByteArray>
#include <QCoroTask>
#include <QUrl>

#include <stop_token>

namespace quillmount {

// The application's own requests: to Google's token endpoint, and to the maker's service.
namespace Http {

struct Post {
    QUrl url;
    QByteArray contentType;
    QByteArray authorization; // the header's value; without one when empty
    QByteArray body;
    Clock::Duration timeout; // from the call to the last byte of the answer
    qint64 maxAnswer = 0;    // bytes of the answer's body
};

struct Answer {
    int status = 0;
    QByteArray body; // empty when it was longer than `maxAnswer`
};

// Whether a request there reaches none but its host: over TLS, or without leaving this machine. What is written as an
// address counts as this machine, a name such as localhost does not: that is up to the resolver.
[[nodiscard]] bool isPrivate(const QUrl &url);

// Sends the request once, over a connection of its own: one that is not answered is never repeated. No redirect is
// followed, no cookie kept, no packed answer asked for. Throws NetworkError when there is no whole answer in time, and
// NetworkError(OperationCanceledError) when `stop` is requested.
[[nodiscard]] QCoro::Task<Answer> post(Post request, std::stop_token stop);

} // namespace Http
} // namespace quillmount
