// SPDX-License-Identifier: LicenseRef-Quillmount
#pragma once

#include <QCoroTask>
#include <QJsonObject>
#include <QString>

#include <exception>
#include <optional>
#include <string>

class QNetworkAccessManager;

namespace quillmount {

// A client of the running engine's remote control, HTTP on 127.0.0.1.
struct RemoteControl {
    quint16 port = 0;
    QString user;
    QString pass;

    // An answer that is of no use.
    class RCError : public std::exception {
    public:
        enum Case {
            badResponse, // an HTTP status other than 200
            notJSON,     // the body is no JSON object
        };

        explicit RCError(Case which, int status = 0);
        [[nodiscard]] Case which() const { return m_case; }
        // The HTTP status of a `badResponse`, 0 otherwise.
        [[nodiscard]] int status() const { return m_status; }
        [[nodiscard]] const char *what() const noexcept override { return m_what.c_str(); }

    private:
        Case m_case;
        int m_status;
        std::string m_what;
    };

    // Posts `params` to `command` ("vfs/stats") and returns the answer. Throws RCError, and NetworkError when there is
    // no answer within 5 seconds.
    [[nodiscard]] QCoro::Task<QJsonObject> call(QString command, QJsonObject params) const;

    // The same for callers to whom every failure is one missing answer.
    [[nodiscard]] QCoro::Task<std::optional<QJsonObject>> answer(QString command, QJsonObject params) const;

    // Whether the engine serves the drive already.
    [[nodiscard]] QCoro::Task<bool> answers() const;

    // One for the process: no disk cache, no cookies, and no proxy between here and the loopback interface.
    [[nodiscard]] static QNetworkAccessManager &session();
};

} // namespace quillmount
