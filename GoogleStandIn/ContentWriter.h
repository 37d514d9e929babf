// SPDX-License-Identifier: LicenseRef-Quillmount
#pragma once

#include <QByteArray>
#include <QString>

#include <openssl/evp.h>

#include <memory>

namespace quillmount::standin {

// A file being written together with its MD5 sum; what was written since the last mark can be taken back.
class ContentWriter {
public:
    // Makes the file. Throws ApiError (500).
    explicit ContentWriter(const QString &path);
    // Removes the file unless it was finished.
    ~ContentWriter();
    ContentWriter(const ContentWriter &) = delete;
    ContentWriter &operator=(const ContentWriter &) = delete;

    void write(const char *data, qint64 size);
    qint64 size() const { return m_size; }
    void mark();
    void backToMark();
    // Closes the file, keeps it and gives the sum in hexadecimal.
    QString finish();

private:
    struct Free {
        void operator()(EVP_MD_CTX *context) const { EVP_MD_CTX_free(context); }
    };
    using Digest = std::unique_ptr<EVP_MD_CTX, Free>;

    QString m_path;
    int m_descriptor = -1;
    qint64 m_size = 0;
    qint64 m_markedSize = 0;
    Digest m_digest;
    Digest m_markedDigest;
};

// The MD5 sum of an open file from its beginning, in hexadecimal; empty when it cannot be read.
QString md5OfDescriptor(int descriptor);

} // namespace quillmount::standin
