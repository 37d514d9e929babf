// SPDX-License-Identifier: LicenseRef-Quillmount
#pragma once

#include <QString>

#include <optional>

namespace quillmount::standin {

// RFC 3339 text to milliseconds since 1970 (finer digits are cut off, as the service does); nothing when malformed.
std::optional<qint64> parseTime(const QString &text);

// Milliseconds since 1970 as "2026-08-21T10:00:00.000Z".
QString formatTime(qint64 ms);

// The present in milliseconds since 1970.
qint64 nowMs();

} // namespace quillmount::standin
