// SPDX-License-Identifier: LicenseRef-Quillmount
#include "MultipartReader.h"

#include "GoogleStandIn/ApiError.h"

using namespace Qt::StringLiterals;

namespace quillmount::standin {

namespace {
constexpr qsizetype pieceSize = 256 * 1024;

ApiError malformed() {
    return ApiError::badRequest(u"Malformed multipart body."_s);
}

QByteArray boundaryOf(const QByteArray &contentType) {
    const QList<QByteArray> parts = contentType.split(';');
    if (parts[0].trimmed().toLower() == "multipart/related") {
        for (QByteArray part : parts) {
            part = part.trimmed();
            if (part.left(9).toLower() == "boundary=") {
                part = part.mid(9);
                return part.startsWith('"') && part.endsWith('"') && part.size() > 2 ? part.mid(1, part.size() - 2)
                                                                                     : part;
            }
        }
    }
    return {};
}
} // namespace

MultipartReader::MultipartReader(HttpConnection &connection, const QByteArray &contentType)
    : m_connection(connection)
    , m_delimiter("\r\n--" + boundaryOf(contentType))
    , m_data("\r\n") {
    if (m_delimiter.size() == 4)
        throw malformed();
    // What stands before the first boundary is nobody's.
    readPart([](const char *, qint64) {});
}

bool MultipartReader::fill() {
    const qsizetype before = m_data.size();
    m_data.resize(before + pieceSize);
    const qint64 got = m_connection.readBody(m_data.data() + before, pieceSize);
    m_data.resize(before + got);
    return got > 0;
}

QByteArray MultipartReader::line() {
    qsizetype end = -1;
    while ((end = m_data.indexOf("\r\n")) < 0) {
        if (m_data.size() > 64 * 1024 || !fill())
            throw malformed();
    }
    const QByteArray text = m_data.left(end);
    m_data.remove(0, end + 2);
    return text;
}

bool MultipartReader::nextPart(QByteArray *contentType) {
    while (m_data.size() < 2) {
        if (!fill())
            throw malformed();
    }
    if (m_data.startsWith("--"))
        return false;
    if (!line().trimmed().isEmpty())
        throw malformed();
    contentType->clear();
    for (QByteArray header = line(); !header.isEmpty(); header = line()) {
        const qsizetype colon = header.indexOf(':');
        if (colon <= 0)
            throw malformed();
        if (header.left(colon).toLower() == "content-type")
            *contentType = header.mid(colon + 1).trimmed();
    }
    // An empty part may be followed by its boundary at once; the line end that belongs to it was just taken.
    m_data.prepend("\r\n");
    while (m_data.size() < m_delimiter.size() && fill()) {
    }
    if (!m_data.startsWith(m_delimiter))
        m_data.remove(0, 2);
    return true;
}

void MultipartReader::readPart(const Sink &sink) {
    for (;;) {
        const qsizetype at = m_data.indexOf(m_delimiter);
        // Without a match, the last bytes may be the beginning of one.
        const qsizetype safe = at >= 0 ? at : std::max<qsizetype>(0, m_data.size() - m_delimiter.size() + 1);
        if (safe > 0)
            sink(m_data.constData(), safe);
        if (at >= 0) {
            m_data.remove(0, at + m_delimiter.size());
            return;
        }
        m_data.remove(0, safe);
        if (!fill())
            throw malformed();
    }
}

} // namespace quillmount::standin
