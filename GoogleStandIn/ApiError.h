// SPDX-License-Identifier: LicenseRef-Quillmount
#pragma once

#include <QByteArray>
#include <QString>

#include <exception>
#include <utility>

namespace quillmount::standin {

// An answer that refuses a request, in Google's shape: an HTTP status, a machine-readable reason and a sentence.
class ApiError : public std::exception {
public:
    ApiError(int status, QString reason, QString message, QString location = {})
        : m_status(status)
        , m_reason(std::move(reason))
        , m_message(std::move(message))
        , m_location(std::move(location)) {}

    int status() const { return m_status; }
    const QString &reason() const { return m_reason; }
    const QString &message() const { return m_message; }

    // The body of the Drive calls: {"error":{"code","message","errors":[…]}}.
    QByteArray toJson() const;
    const char *what() const noexcept override { return "the request is refused"; }

    static ApiError badRequest(const QString &message);
    static ApiError invalidParameter(const QString &parameter, const QString &value);
    static ApiError unauthorized();
    static ApiError fileNotFound(const QString &id);
    static ApiError quotaExceeded();
    static ApiError internal(const QString &message);

private:
    int m_status;
    QString m_reason;
    QString m_message;
    QString m_location;
};

} // namespace quillmount::standin
