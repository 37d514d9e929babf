// SPDX-License-Identifier: LicenseRef-Quillmount
#pragma once

#include <QtGlobal>

#include <openssl/ssl.h>

#include <exception>
#include <memory>

namespace quillmount::standin {

// The other side went away, or the program is ending. Ends the connection's thread and nothing else.
class ConnectionLost : public std::exception {
public:
    const char *what() const noexcept override { return "the connection is lost"; }
};

// A blocking byte stream over an accepted socket. One thread uses it; another may shut the socket down to wake it.
class Transport {
public:
    virtual ~Transport() = default;
    // Reads at least one byte; 0 means that the peer has finished. Throws ConnectionLost.
    virtual qint64 read(char *data, qint64 size) = 0;
    // Writes everything. Throws ConnectionLost.
    virtual void write(const char *data, qint64 size) = 0;
    virtual int descriptor() const = 0;
};

// Bytes as they are. Does not own the descriptor.
class PlainTransport : public Transport {
public:
    explicit PlainTransport(int descriptor)
        : m_descriptor(descriptor) {}
    qint64 read(char *data, qint64 size) override;
    void write(const char *data, qint64 size) override;
    int descriptor() const override { return m_descriptor; }

private:
    int m_descriptor;
};

// The server's side of TLS over the same socket. The handshake is made by the constructor (throws ConnectionLost).
class TlsTransport : public Transport {
public:
    TlsTransport(int descriptor, SSL_CTX *context);
    ~TlsTransport() override;
    qint64 read(char *data, qint64 size) override;
    void write(const char *data, qint64 size) override;
    int descriptor() const override { return m_descriptor; }

private:
    struct Free {
        void operator()(SSL *ssl) const { SSL_free(ssl); }
    };
    int m_descriptor;
    bool m_broken = false;
    std::unique_ptr<SSL, Free> m_ssl;
};

} // namespace quillmount::standin
