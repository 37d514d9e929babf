// SPDX-License-Identifier: LicenseRef-Quillmount
#include "ContentWriter.h"

#include "GoogleStandIn/ApiError.h"

#include <QFile>

#include <fcntl.h>
#include <unistd.h>

using namespace Qt::StringLiterals;

namespace quillmount::standin {

namespace {
QString finalText(EVP_MD_CTX *digest) {
    unsigned char sum[EVP_MAX_MD_SIZE];
    unsigned int size = 0;
    EVP_DigestFinal_ex(digest, sum, &size);
    return QString::fromLatin1(QByteArray(reinterpret_cast<const char *>(sum), qsizetype(size)).toHex());
}
} // namespace

ContentWriter::ContentWriter(const QString &path)
    : m_path(path)
    , m_digest(EVP_MD_CTX_new())
    , m_markedDigest(EVP_MD_CTX_new()) {
    m_descriptor = ::open(QFile::encodeName(path).constData(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0644);
    if (m_descriptor < 0 || EVP_DigestInit_ex(m_digest.get(), EVP_md5(), nullptr) != 1)
        throw ApiError::internal(u"The local store is not writable"_s);
    mark();
}

ContentWriter::~ContentWriter() {
    if (m_descriptor >= 0) {
        ::close(m_descriptor);
        QFile::remove(m_path);
    }
}

void ContentWriter::write(const char *data, qint64 size) {
    EVP_DigestUpdate(m_digest.get(), data, size_t(size));
    while (size > 0) {
        const ssize_t put = ::write(m_descriptor, data, size_t(size));
        if (put <= 0)
            throw ApiError::internal(u"The local store is not writable"_s);
        data += put;
        size -= put;
        m_size += put;
    }
}

void ContentWriter::mark() {
    m_markedSize = m_size;
    EVP_MD_CTX_copy_ex(m_markedDigest.get(), m_digest.get());
}

void ContentWriter::backToMark() {
    EVP_MD_CTX_copy_ex(m_digest.get(), m_markedDigest.get());
    if (::ftruncate(m_descriptor, m_markedSize) != 0 || ::lseek(m_descriptor, m_markedSize, SEEK_SET) < 0)
        throw ApiError::internal(u"The local store is not writable"_s);
    m_size = m_markedSize;
}

QString ContentWriter::finish() {
    ::close(m_descriptor);
    m_descriptor = -1;
    return finalText(m_digest.get());
}

QString md5OfDescriptor(int descriptor) {
    const std::unique_ptr<EVP_MD_CTX, void (*)(EVP_MD_CTX *)> digest(EVP_MD_CTX_new(), EVP_MD_CTX_free);
    EVP_DigestInit_ex(digest.get(), EVP_md5(), nullptr);
    QByteArray piece(1 << 20, Qt::Uninitialized);
    ssize_t got = 0;
    for (off_t at = 0; (got = ::pread(descriptor, piece.data(), size_t(piece.size()), at)) > 0; at += got)
        EVP_DigestUpdate(digest.get(), piece.constData(), size_t(got));
    return got == 0 ? finalText(digest.get()) : QString();
}

} // namespace quillmount::standin
