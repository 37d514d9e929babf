// SPDX-License-Identifier: LicenseRef-Quillmount
#include "HttpConnection.h"

#include "GoogleStandIn/ApiError.h"

#include <algorithm>
#include <cstring>

using namespace Qt::StringLiterals;

namespace quillmount::standin {

namespace {
constexpr qsizetype lineLimit = 64 * 1024;
constexpr qsizetype headerLimit = 200;
constexpr qsizetype bufferSize = 256 * 1024;

bool isToken(const QByteArray &text) {
    return !text.isEmpty() && std::all_of(text.begin(), text.end(), [](char c) {
        return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') ||
               std::strchr("!#$%&'*+-.^_`|~", c) != nullptr;
    });
}

ApiError malformed(const QString &what) {
    return ApiError::badRequest(u"Malformed request: "_s + what);
}
} // namespace

QByteArray HttpRequest::header(const char *name) const {
    for (const auto &[key, value] : headers) {
        if (key.compare(name, Qt::CaseInsensitive) == 0)
            return value;
    }
    return {};
}

HttpConnection::HttpConnection(Transport &transport)
    : m_transport(transport) {
    m_buffer.reserve(bufferSize);
}

bool HttpConnection::fill() {
    m_buffer.resize(bufferSize);
    m_position = 0;
    const qint64 got = m_transport.read(m_buffer.data(), bufferSize);
    m_buffer.resize(got);
    return got > 0;
}

QByteArray HttpConnection::readLine(qsizetype limit) {
    QByteArray line;
    for (;;) {
        if (m_position == m_buffer.size() && !fill())
            throw ConnectionLost();
        const qsizetype end = m_buffer.indexOf('\n', m_position);
        const qsizetype upTo = end < 0 ? m_buffer.size() : end + 1;
        line.append(m_buffer.constData() + m_position, upTo - m_position);
        m_position = upTo;
        if (line.size() > limit)
            throw ApiError(431, u"badRequest"_s, u"Request header too large"_s);
        if (end >= 0) {
            line.chop(line.endsWith("\r\n") ? 2 : 1);
            return line;
        }
    }
}

std::optional<HttpRequest> HttpConnection::readRequest() {
    m_framing = Framing::none;
    m_left = m_bodyRead = m_bodySent = 0;
    m_statusSent = 0;
    m_interference = {};
    m_observer = nullptr;
    m_expectsContinue = false;
    if (m_position == m_buffer.size() && !fill())
        return std::nullopt;
    HttpRequest request;
    const QList<QByteArray> parts = readLine(lineLimit).split(' ');
    if (parts.size() != 3 || !isToken(parts[0]) || parts[1].isEmpty()) {
        m_keepAlive = false;
        throw malformed(u"request line"_s);
    }
    request.method = parts[0];
    request.target = parts[1];
    m_headOnly = request.method == "HEAD";
    if (parts[2] != "HTTP/1.1" && parts[2] != "HTTP/1.0") {
        m_keepAlive = false;
        throw ApiError(505, u"badRequest"_s, u"Unsupported HTTP version"_s);
    }
    m_keepAlive = parts[2] == "HTTP/1.1";
    request.path = request.target.split('?').first();
    request.query = request.target.mid(request.path.size() + 1);
    try {
        parseHeaders(request);
        chooseFraming(request);
    } catch (const ApiError &) {
        // Where the next request starts is unknown from here on.
        m_keepAlive = false;
        throw;
    }
    return request;
}

void HttpConnection::parseHeaders(HttpRequest &request) {
    for (;;) {
        const QByteArray line = readLine(lineLimit);
        if (line.isEmpty())
            break;
        const qsizetype colon = line.indexOf(':');
        const QByteArray name = line.left(colon);
        if (colon <= 0 || !isToken(name) || request.headers.size() >= headerLimit)
            throw malformed(u"header"_s);
        request.headers.append({name, line.mid(colon + 1).trimmed()});
    }
    if (request.header("Connection").toLower() == "close")
        m_keepAlive = false;
    m_expectsContinue = request.header("Expect").toLower() == "100-continue";
}

void HttpConnection::chooseFraming(const HttpRequest &request) {
    int lengths = 0;
    for (const auto &[name, value] : request.headers) {
        if (name.compare("Content-Length", Qt::CaseInsensitive) == 0) {
            bool ok = false;
            m_left = value.toLongLong(&ok);
            if (!ok || m_left < 0 || ++lengths > 1)
                throw malformed(u"Content-Length"_s);
            m_framing = Framing::length;
        }
    }
    const QByteArray coding = request.header("Transfer-Encoding");
    if (coding.isNull())
        return;
    if (coding.toLower() != "chunked" || lengths > 0)
        throw malformed(u"Transfer-Encoding"_s);
    m_framing = Framing::chunked;
    m_firstChunk = true;
    m_left = 0;
}

qint64 HttpConnection::readRaw(char *data, qint64 size) {
    if (m_position == m_buffer.size()) {
        if (size >= bufferSize / 4) {
            const qint64 got = m_transport.read(data, size);
            if (got == 0)
                throw ConnectionLost();
            return got;
        }
        if (!fill())
            throw ConnectionLost();
    }
    const qint64 take = std::min<qint64>(size, m_buffer.size() - m_position);
    std::memcpy(data, m_buffer.constData() + m_position, size_t(take));
    m_position += take;
    return take;
}

bool HttpConnection::nextChunk() {
    if (!m_firstChunk && !readLine(2).isEmpty())
        throw malformed(u"chunk end"_s);
    m_firstChunk = false;
    const QByteArray line = readLine(1024);
    bool ok = false;
    m_left = line.split(';').first().trimmed().toLongLong(&ok, 16);
    if (!ok || m_left < 0)
        throw malformed(u"chunk size"_s);
    if (m_left > 0)
        return true;
    while (!readLine(lineLimit).isEmpty()) {
        // Trailers carry nothing that any call here uses.
    }
    m_framing = Framing::none;
    return false;
}

qint64 HttpConnection::readBody(char *data, qint64 size) {
    if (m_framing == Framing::none || (m_framing == Framing::length && m_left == 0))
        return 0;
    if (m_expectsContinue) {
        m_expectsContinue = false;
        m_transport.write("HTTP/1.1 100 Continue\r\n\r\n", 25);
    }
    try {
        if (m_framing == Framing::chunked && m_left == 0 && !nextChunk())
            return 0;
    } catch (const ApiError &) {
        m_framing = Framing::none;
        m_keepAlive = false;
        throw;
    }
    size = std::min(size, m_left);
    if (m_interference.requestBytes >= 0) {
        size = std::min(size, m_interference.requestBytes - m_bodyRead);
        if (size <= 0)
            throw Interrupted();
    }
    const qint64 got = readRaw(data, size);
    m_left -= got;
    m_bodyRead += got;
    return got;
}

QByteArray HttpConnection::readWholeBody(qint64 limit) {
    QByteArray body;
    QByteArray piece(64 * 1024, Qt::Uninitialized);
    while (const qint64 got = readBody(piece.data(), piece.size())) {
        body.append(piece.constData(), got);
        if (body.size() > limit)
            throw ApiError(413, u"uploadTooLarge"_s, u"Request body too large"_s);
    }
    return body;
}

void HttpConnection::drainBody() {
    QByteArray piece(64 * 1024, Qt::Uninitialized);
    while (readBody(piece.data(), piece.size()) > 0) {
        // A client reads its answer only after it has sent its whole body.
    }
}

void HttpConnection::start(int status, const HttpHeaders &headers, qint64 length) {
    if (m_interference.responseBytes == 0)
        throw Interrupted();
    QByteArray head = "HTTP/1.1 " + QByteArray::number(status) + ' ' + reasonPhrase(status) + "\r\n";
    for (const auto &[name, value] : headers)
        head += name + ": " + value + "\r\n";
    if (status != 204)
        head += "Content-Length: " + QByteArray::number(length) + "\r\n";
    head += m_keepAlive ? "\r\n" : "Connection: close\r\n\r\n";
    m_statusSent = status;
    if (m_observer)
        m_observer(status);
    m_transport.write(head.constData(), head.size());
}

void HttpConnection::writeBody(const char *data, qint64 size) {
    if (m_headOnly)
        return;
    while (size > 0) {
        qint64 step = size;
        if (m_interference.responseBytes >= 0) {
            step = std::min(step, m_interference.responseBytes - m_bodySent);
            if (step <= 0)
                throw Interrupted();
        }
        m_transport.write(data, step);
        data += step;
        size -= step;
        m_bodySent += step;
    }
}

void HttpConnection::send(int status, const HttpHeaders &headers, const QByteArray &body) {
    start(status, headers, body.size());
    writeBody(body.constData(), body.size());
}

QByteArray HttpConnection::reasonPhrase(int status) {
    switch (status) {
    case 200:
        return "OK";
    case 201:
        return "Created";
    case 204:
        return "No Content";
    case 206:
        return "Partial Content";
    case 303:
        return "See Other";
    case 308:
        return "Resume Incomplete";
    case 400:
        return "Bad Request";
    case 401:
        return "Unauthorized";
    case 403:
        return "Forbidden";
    case 404:
        return "Not Found";
    case 405:
        return "Method Not Allowed";
    case 416:
        return "Requested Range Not Satisfiable";
    case 429:
        return "Too Many Requests";
    case 500:
        return "Internal Server Error";
    case 502:
        return "Bad Gateway";
    case 503:
        return "Service Unavailable";
    default:
        return "Status";
    }
}

} // namespace quillmount::standin
