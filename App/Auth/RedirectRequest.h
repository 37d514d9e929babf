// SPDX-License-Identifier: LicenseRef-Quillmount
#pragma once

#include "App/Auth/AuthError.h"

#include <QByteArray>
#include <QString>

#include <optional>
#include <variant>

namespace quillmount {

// What a sign-in waits for: Google's one-time code, or why there is none.
using CodeResult = std::variant<QString, AuthError::Case>;

// What the browser, or whoever else found the port, asks of the listener. Nothing here touches a socket.
namespace RedirectRequest {

struct Answer {
    QByteArray status; // "200 OK"
    QByteArray body;   // HTML, or empty

    // The bytes of the whole response.
    [[nodiscard]] QByteArray response() const;
};

struct Reading {
    Answer answer;
    std::optional<CodeResult> outcome; // absent: the sign-in goes on waiting
};

// Reads the bytes with which a request begins; `expectedState` is the state of this sign-in.
// Neither the method nor the Host field counts: what tells Google's redirect from any other request is the state. An
// "error" ends the sign-in without it, so another program of this machine that finds the port can end an attempt (and
// no more than that).
[[nodiscard]] Reading read(QByteArrayView request, const QString &expectedState);

} // namespace RedirectRequest
} // namespace quillmount
