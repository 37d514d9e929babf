// SPDX-License-Identifier: LicenseRef-Quillmount
#pragma once

#include <QString>

#include <exception>

namespace quillmount {

// What the system did not let a role do, and why: words for the user or the log, without a full stop.
class PlatformError : public std::exception {
public:
    explicit PlatformError(const QString &message)
        : m_message(message.toUtf8()) {}

    [[nodiscard]] QString message() const { return QString::fromUtf8(m_message); }
    [[nodiscard]] const char *what() const noexcept override { return m_message.constData(); }

private:
    QByteArray m_message;
};

} // namespace quillmount
