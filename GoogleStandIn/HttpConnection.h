// SPDX-License-Identifier: LicenseRef-Quillmount
#pragma once

#include "GoogleStandIn/Transport.h"

#include <QByteArray>
#include <QList>
#include <QPair>

#include <functional>
#include <optional>

namespace quillmount::standin {

using HttpHeaders = QList<QPair<QByteArray, QByteArray>>;

// The head of a request. The body stays on the connection until it is read.
struct HttpRequest {
    QByteArray method;
    QByteArray target;
    QByteArray path;
    QByteArray query;
    HttpHeaders headers;

    // The value of the first header of that name (case ignored), or a null array.
    QByteArray header(const char *name) const;
};

// What a fault does to the bytes of one request and its answer.
struct Interference {
    enum class End { none, stall, drop };
    End end = End::none;
    qint64 requestBytes = -1;  // Body bytes that are still read before the end; -1: all.
    qint64 responseBytes = -1; // Body bytes that are still sent before the end (0: not even the head); -1: all.
};

// Thrown out of a handler when a fault cuts its request or its answer.
class Interrupted : public std::exception {
public:
    const char *what() const noexcept override { return "a fault ends the connection"; }
};

// HTTP/1.1 on a blocking transport: one thread a connection, bodies streamed in both directions.
//
// Qt's HTTP server was not used: it keeps each body in memory whole, and it can neither stall nor cut a connection,
// which is half of what this program is for.
class HttpConnection {
public:
    explicit HttpConnection(Transport &transport);

    // The next request, or nothing when the peer has finished. Throws ApiError for what is not HTTP/1.1.
    std::optional<HttpRequest> readRequest();
    // Reads from the current request's body; 0 at its end. Throws ApiError for broken framing.
    qint64 readBody(char *data, qint64 size);
    // The whole body, refused with 413 when longer than `limit` bytes.
    QByteArray readWholeBody(qint64 limit);
    void drainBody();
    qint64 bodyBytesRead() const { return m_bodyRead; }

    void send(int status, const HttpHeaders &headers, const QByteArray &body);
    // Starts an answer of `length` body bytes, which the caller then writes.
    void start(int status, const HttpHeaders &headers, qint64 length);
    void writeBody(const char *data, qint64 size);
    // The status that went out, 0 while none has.
    int statusSent() const { return m_statusSent; }
    qint64 bodyBytesSent() const { return m_bodySent; }
    bool keepAlive() const { return m_keepAlive; }

    // Called with the status just before an answer's head goes out; forgotten with the request.
    void setAnswerObserver(std::function<void(int status)> observer) { m_observer = std::move(observer); }
    void setInterference(const Interference &interference) { m_interference = interference; }
    Transport &transport() { return m_transport; }
    static QByteArray reasonPhrase(int status);

private:
    enum class Framing { none, length, chunked };

    bool fill();
    QByteArray readLine(qsizetype limit);
    void parseHeaders(HttpRequest &request);
    void chooseFraming(const HttpRequest &request);
    qint64 readRaw(char *data, qint64 size);
    bool nextChunk();

    Transport &m_transport;
    QByteArray m_buffer;
    qsizetype m_position = 0;
    Framing m_framing = Framing::none;
    qint64 m_left = 0;
    bool m_firstChunk = true;
    bool m_expectsContinue = false;
    bool m_keepAlive = true;
    bool m_headOnly = false;
    qint64 m_bodyRead = 0;
    qint64 m_bodySent = 0;
    int m_statusSent = 0;
    Interference m_interference;
    std::function<void(int)> m_observer;
};

} // namespace quillmount::standin
