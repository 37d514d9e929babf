// SPDX-License-Identifier: LicenseRef-Quillmount
#pragma once

#include <QNetworkReply>

#include <exception>
#include <string>

namespace quillmount {

// A request that got no answer: refused, lost, not in time, no network.
class NetworkError : public std::exception {
public:
    explicit NetworkError(QNetworkReply::NetworkError code)
        : m_code(code)
        , m_what("no answer, network error " + std::to_string(code)) {}

    [[nodiscard]] QNetworkReply::NetworkError code() const { return m_code; }
    // For the log. It names neither the address nor anything that was sent.
    [[nodiscard]] const char *what() const noexcept override { return m_what.c_str(); }

private:
    QNetworkReply::NetworkError m_code;
    std::string m_what;
};

} // namespace quillmount
