// SPDX-License-Identifier: LicenseRef-Quillmount
#include "Transport.h"

#include <openssl/err.h>

#include <sys/socket.h>

#include <algorithm>
#include <cerrno>

namespace quillmount::standin {

qint64 PlainTransport::read(char *data, qint64 size) {
    for (;;) {
        const ssize_t got = ::recv(m_descriptor, data, size_t(size), 0);
        if (got >= 0)
            return got;
        if (errno != EINTR)
            throw ConnectionLost();
    }
}

void PlainTransport::write(const char *data, qint64 size) {
    while (size > 0) {
        const ssize_t put = ::send(m_descriptor, data, size_t(size), MSG_NOSIGNAL);
        if (put < 0 && errno == EINTR)
            continue;
        if (put <= 0)
            throw ConnectionLost();
        data += put;
        size -= put;
    }
}

TlsTransport::TlsTransport(int descriptor, SSL_CTX *context)
    : m_descriptor(descriptor)
    , m_ssl(SSL_new(context)) {
    ERR_clear_error();
    if (!m_ssl || SSL_set_fd(m_ssl.get(), descriptor) != 1 || SSL_accept(m_ssl.get()) != 1)
        throw ConnectionLost();
}

TlsTransport::~TlsTransport() {
    if (!m_broken) {
        // Only sent, not waited for: whether the peer answers makes no difference any more.
        SSL_shutdown(m_ssl.get());
    }
}

qint64 TlsTransport::read(char *data, qint64 size) {
    ERR_clear_error();
    size_t got = 0;
    if (SSL_read_ex(m_ssl.get(), data, size_t(size), &got) == 1)
        return qint64(got);
    const int error = SSL_get_error(m_ssl.get(), 0);
    if (error == SSL_ERROR_ZERO_RETURN)
        return 0;
    m_broken = true;
    throw ConnectionLost();
}

void TlsTransport::write(const char *data, qint64 size) {
    ERR_clear_error();
    while (size > 0) {
        size_t put = 0;
        if (SSL_write_ex(m_ssl.get(), data, size_t(size), &put) != 1) {
            m_broken = true;
            throw ConnectionLost();
        }
        data += put;
        size -= qint64(put);
    }
}

} // namespace quillmount::standin
