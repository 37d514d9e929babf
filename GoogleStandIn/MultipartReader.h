// SPDX-License-Identifier: LicenseRef-Quillmount
#pragma once

#include "GoogleStandIn/HttpConnection.h"

#include <functional>

namespace quillmount::standin {

// Reads a multipart/related body part by part without keeping it. All methods throw ApiError (400) for broken framing.
class MultipartReader {
public:
    using Sink = std::function<void(const char *data, qint64 size)>;

    // `contentType` is the request's header, which names the boundary.
    MultipartReader(HttpConnection &connection, const QByteArray &contentType);

    // Goes to the next part and gives its content type; false at the end of the body.
    bool nextPart(QByteArray *contentType);
    // Hands the rest of the current part to `sink`.
    void readPart(const Sink &sink);

private:
    bool fill();
    QByteArray line();

    HttpConnection &m_connection;
    QByteArray m_delimiter;
    QByteArray m_data;
};

} // namespace quillmount::standin
