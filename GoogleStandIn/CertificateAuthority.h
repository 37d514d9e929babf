// SPDX-License-Identifier: LicenseRef-Quillmount
#pragma once

#include <QString>

#include <openssl/ssl.h>

#include <memory>

namespace quillmount::standin {

// The authority that clients of this program trust in place of the public ones, and the server certificate made with
// it.
class CertificateAuthority {
public:
    // Takes the authority kept in `folder` or makes one there: a client that trusted it stays able to connect after a
    // restart. Throws StartError.
    explicit CertificateAuthority(const QString &folder);

    // The authority's certificate in PEM form, for SSL_CERT_FILE.
    const QString &certificatePath() const { return m_certificatePath; }
    // The server's side: a fresh certificate for Google's host names.
    SSL_CTX *serverContext() const { return m_context.get(); }

private:
    struct Free {
        void operator()(SSL_CTX *context) const { SSL_CTX_free(context); }
    };
    QString m_certificatePath;
    std::unique_ptr<SSL_CTX, Free> m_context;
};

} // namespace quillmount::standin
