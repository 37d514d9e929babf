// SPDX-License-Identifier: LicenseRef-Quillmount
#pragma once

#include "App/Auth/GoogleAuth.h"
#include "Platform/Clock.h"

namespace quillmount {

// The body of the token endpoint's answers.
namespace TokenAnswer {

// What an answer to a code is worth; `now` is when it came. Throws AuthError: exchangeFailed when there are no tokens
// in it, driveNotGranted when they are not good for the Drive.
[[nodiscard]] GoogleAuth::Result result(const QByteArray &body, Clock::Instant now);

// The identity token in an answer; absent when there is none.
[[nodiscard]] std::optional<QString> idToken(const QByteArray &body);

} // namespace TokenAnswer
} // namespace quillmount
