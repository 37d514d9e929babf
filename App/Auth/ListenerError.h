// SPDX-License-Identifier: LicenseRef-Quillmount
#pragma once

#include <QAbstractSocket>

#include <exception>
#include <string>

namespace quillmount {

// The browser's answer cannot be awaited: no port could be opened on the loopback interface.
class ListenerError : public std::exception {
public:
    explicit ListenerError(QAbstractSocket::SocketError code)
        : m_code(code)
        , m_what("no port on the loopback interface, socket error " + std::to_string(code)) {}

    [[nodiscard]] QAbstractSocket::SocketError code() const { return m_code; }
    [[nodiscard]] const char *what() const noexcept override { return m_what.c_str(); }

private:
    QAbstractSocket::SocketError m_code;
    std::string m_what;
};

} // namespace quillmount
