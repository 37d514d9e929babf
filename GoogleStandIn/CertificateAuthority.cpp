// SPDX-License-Identifier: LicenseRef-Quillmount
#include "CertificateAuthority.h"

#include "GoogleStandIn/StateFolder.h"

#include <QFile>

#include <openssl/evp.h>
#include <openssl/pem.h>
#include <openssl/rand.h>
#include <openssl/x509v3.h>

using namespace Qt::StringLiterals;

namespace quillmount::standin {

namespace {
struct Free {
    void operator()(BIO *bio) const { BIO_free(bio); }
    void operator()(EVP_PKEY *key) const { EVP_PKEY_free(key); }
    void operator()(X509 *certificate) const { X509_free(certificate); }
    void operator()(X509_EXTENSION *extension) const { X509_EXTENSION_free(extension); }
};
template <typename T>
using Owned = std::unique_ptr<T, Free>;
using Key = Owned<EVP_PKEY>;
using Certificate = Owned<X509>;

constexpr long day = 24 * 60 * 60;
const char *const hosts = "DNS:www.googleapis.com,DNS:oauth2.googleapis.com,DNS:accounts.google.com";

void require(bool ok) {
    if (!ok)
        throw StartError(u"OpenSSL cannot make the certificates."_s);
}

void addExtension(X509 *certificate, X509 *issuer, int nid, const char *value) {
    X509V3_CTX context;
    X509V3_set_ctx(&context, issuer, certificate, nullptr, nullptr, 0);
    const Owned<X509_EXTENSION> extension(X509V3_EXT_conf_nid(nullptr, &context, nid, value));
    require(extension && X509_add_ext(certificate, extension.get(), -1) == 1);
}

Certificate makeCertificate(EVP_PKEY *key, const char *name, long days) {
    Certificate certificate(X509_new());
    quint64 serial = 0;
    require(certificate && RAND_bytes(reinterpret_cast<unsigned char *>(&serial), sizeof serial) == 1);
    X509 *x = certificate.get();
    require(X509_set_version(x, 2) == 1 && ASN1_INTEGER_set_uint64(X509_get_serialNumber(x), serial >> 1) == 1);
    // A day back: machines that were just set up have clocks that jump.
    require(X509_gmtime_adj(X509_getm_notBefore(x), -day) && X509_gmtime_adj(X509_getm_notAfter(x), days * day));
    require(X509_set_pubkey(x, key) == 1);
    require(X509_NAME_add_entry_by_txt(X509_get_subject_name(x), "CN", MBSTRING_ASC,
                                       reinterpret_cast<const unsigned char *>(name), -1, -1, 0) == 1);
    return certificate;
}

QByteArray pem(const Owned<BIO> &bio) {
    char *data = nullptr;
    const long size = BIO_get_mem_data(bio.get(), &data);
    return {data, size};
}

Owned<BIO> readPem(const QString &path) {
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly)) {
        return {};
    }
    const QByteArray content = file.readAll();
    Owned<BIO> bio(BIO_new(BIO_s_mem()));
    BIO_write(bio.get(), content.constData(), int(content.size()));
    return bio;
}

struct Authority {
    Key key;
    Certificate certificate;
};

bool load(Authority &authority, const QString &keyPath, const QString &certificatePath) {
    const Owned<BIO> keyFile = readPem(keyPath);
    const Owned<BIO> certificateFile = readPem(certificatePath);
    if (!keyFile || !certificateFile)
        return false;
    authority.key.reset(PEM_read_bio_PrivateKey(keyFile.get(), nullptr, nullptr, nullptr));
    authority.certificate.reset(PEM_read_bio_X509(certificateFile.get(), nullptr, nullptr, nullptr));
    return authority.key && authority.certificate &&
           X509_check_private_key(authority.certificate.get(), authority.key.get()) == 1 &&
           X509_cmp_current_time(X509_get0_notAfter(authority.certificate.get())) > 0;
}

void make(Authority &authority, const QString &keyPath, const QString &certificatePath) {
    authority.key.reset(EVP_EC_gen("P-256"));
    require(bool(authority.key));
    authority.certificate = makeCertificate(authority.key.get(), "Local Google authority", 3650);
    X509 *certificate = authority.certificate.get();
    require(X509_set_issuer_name(certificate, X509_get_subject_name(certificate)) == 1);
    addExtension(certificate, certificate, NID_basic_constraints, "critical,CA:TRUE");
    addExtension(certificate, certificate, NID_key_usage, "critical,keyCertSign,cRLSign");
    addExtension(certificate, certificate, NID_subject_key_identifier, "hash");
    require(X509_sign(certificate, authority.key.get(), EVP_sha256()) > 0);

    const Owned<BIO> keyPem(BIO_new(BIO_s_mem()));
    const Owned<BIO> certificatePem(BIO_new(BIO_s_mem()));
    require(PEM_write_bio_PrivateKey(keyPem.get(), authority.key.get(), nullptr, nullptr, 0, nullptr, nullptr) == 1);
    require(PEM_write_bio_X509(certificatePem.get(), certificate) == 1);
    if (!writeAtomically(keyPath, pem(keyPem)) || !writeAtomically(certificatePath, pem(certificatePem)))
        throw StartError(u"The certificate authority cannot be written to %1."_s.arg(keyPath));
}
} // namespace

CertificateAuthority::CertificateAuthority(const QString &folder)
    : m_certificatePath(folder + u"/authority.pem"_s)
    , m_context(SSL_CTX_new(TLS_server_method())) {
    Authority authority;
    const QString keyPath = folder + u"/authority.key"_s;
    if (!load(authority, keyPath, m_certificatePath))
        make(authority, keyPath, m_certificatePath);
    const Key key(EVP_EC_gen("P-256"));
    require(key && m_context);
    const Certificate certificate = makeCertificate(key.get(), "www.googleapis.com", 365);
    X509 *server = certificate.get();
    X509 *issuer = authority.certificate.get();
    require(X509_set_issuer_name(server, X509_get_subject_name(issuer)) == 1);
    addExtension(server, issuer, NID_basic_constraints, "critical,CA:FALSE");
    addExtension(server, issuer, NID_ext_key_usage, "serverAuth");
    addExtension(server, issuer, NID_authority_key_identifier, "keyid");
    addExtension(server, issuer, NID_subject_alt_name, hosts);
    require(X509_sign(server, authority.key.get(), EVP_sha256()) > 0);

    SSL_CTX *context = m_context.get();
    require(SSL_CTX_use_certificate(context, server) == 1 && SSL_CTX_use_PrivateKey(context, key.get()) == 1);
    require(SSL_CTX_set_min_proto_version(context, TLS1_2_VERSION) == 1);
    // Fewer, larger reads from the socket: an upload comes in records of 16 KiB.
    SSL_CTX_set_read_ahead(context, 1);
    SSL_CTX_set_default_read_buffer_len(context, 256 * 1024);
    SSL_CTX_set_mode(context, SSL_MODE_AUTO_RETRY);
}

} // namespace quillmount::standin
