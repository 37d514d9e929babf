// SPDX-License-Identifier: LicenseRef-Quillmount
#include "App/Support/Secrets.h"

#include <QByteArray>
#include <QRandomGenerator>

namespace quillmount {

QString Secrets::random(int bytes) {
    // Whole words are drawn: the generator fills nothing smaller.
    QByteArray raw((bytes + 3) / 4 * 4, Qt::Uninitialized);
    auto *words = reinterpret_cast<quint32 *>(raw.data());
    QRandomGenerator::system()->fillRange(words, raw.size() / 4);
    raw.truncate(bytes);
    return QString::fromLatin1(raw.toBase64(QByteArray::Base64UrlEncoding | QByteArray::OmitTrailingEquals));
}

} // namespace quillmount
