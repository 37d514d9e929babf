// SPDX-License-Identifier: LicenseRef-Quillmount
#include "App/Network/OneTimeBody.h"

#include <algorithm>
#include <cstring>

namespace quillmount {

OneTimeBody::OneTimeBody(QByteArray contents)
    : m_contents(std::move(contents)) {
    open(QIODevice::ReadOnly | QIODevice::Unbuffered);
}

qint64 OneTimeBody::bytesAvailable() const {
    return m_contents.size() - m_read + QIODevice::bytesAvailable();
}

qint64 OneTimeBody::readData(char *data, qint64 length) {
    const qint64 count = std::min(length, m_contents.size() - m_read);
    if (count <= 0)
        return -1;
    std::memcpy(data, m_contents.constData() + m_read, size_t(count));
    m_read += count;
    return count;
}

} // namespace quillmount
