// SPDX-License-Identifier: LicenseRef-Quillmount
#pragma once

#include <QObject>
#include <QString>

namespace quillmount {

// Reduces the engine's own words to one of five kinds of failure.
namespace ErrorMapper {
Q_NAMESPACE

enum class Kind {
    needsReconnect, // Google no longer accepts the account's authorisation: the user has to sign in again
    offline,        // Google cannot be reached
    mountRefused,   // the drive could not be mounted
    diskFull,       // the local disk is full
    unknown,        // anything else
};
Q_ENUM_NS(Kind)

// The last line of the engine's log that reports an error, looked for in its last 16384 bytes; empty when there is
// none or the log cannot be read.
[[nodiscard]] QString lastLogError();

[[nodiscard]] Kind classify(const QString &text);

} // namespace ErrorMapper
} // namespace quillmount
