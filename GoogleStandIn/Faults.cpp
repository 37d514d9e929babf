// SPDX-License-Identifier: LicenseRef-Quillmount
#include "Faults.h"

#include "GoogleStandIn/ApiError.h"

#include <poll.h>

#include <algorithm>
#include <chrono>

using namespace Qt::StringLiterals;

namespace quillmount::standin {

Fault Fault::fromJson(const QJsonObject &json) {
    static const QSet<QString> known{u"kind"_s,  u"method"_s, u"host"_s,   u"path"_s,    u"query"_s,      u"skip"_s,
                                     u"count"_s, u"status"_s, u"reason"_s, u"message"_s, u"afterBytes"_s, u"of"_s};
    for (auto it = json.begin(); it != json.end(); ++it) {
        if (!known.contains(it.key()))
            throw ApiError::badRequest(u"Unknown member '%1'"_s.arg(it.key()));
    }
    const auto text = [&](QLatin1StringView name) { return json.value(name).toString(); };
    Fault fault;
    fault.method = text("method"_L1);
    fault.host = text("host"_L1);
    fault.pathPrefix = text("path"_L1);
    fault.query = text("query"_L1);
    fault.skip = json.value("skip"_L1).toInt(0);
    fault.count = json.value("count"_L1).toInt(-1);
    const QString kind = text("kind"_L1);
    if (kind == "answer"_L1) {
        fault.status = json.value("status"_L1).toInt();
        fault.reason = text("reason"_L1);
        fault.message = json.value("message"_L1).toString(fault.reason);
        if (fault.status < 400 || fault.status > 599)
            throw ApiError::badRequest(u"'answer' needs a status from 400 to 599"_s);
    } else if (kind == "stall"_L1 || kind == "drop"_L1) {
        fault.interference.end = kind == "stall"_L1 ? Interference::End::stall : Interference::End::drop;
        const QString of = json.value("of"_L1).toString(u"request"_s);
        const qint64 bytes = json.value("afterBytes"_L1).toInteger(0);
        (of == "response"_L1 ? fault.interference.responseBytes : fault.interference.requestBytes) = bytes;
        if ((of != "response"_L1 && of != "request"_L1) || bytes < 0)
            throw ApiError::badRequest(u"'of' is \"request\" or \"response\""_s);
    } else {
        throw ApiError::badRequest(u"'kind' is \"answer\", \"stall\" or \"drop\""_s);
    }
    return fault;
}

QJsonObject Fault::toJson() const {
    return {{"id"_L1, id},       {"method"_L1, method}, {"host"_L1, host},    {"path"_L1, pathPrefix},
            {"count"_L1, count}, {"hits"_L1, hits},     {"status"_L1, status}};
}

int Faults::add(const Fault &fault) {
    const std::lock_guard lock(m_mutex);
    m_faults.append(fault);
    m_faults.last().id = ++m_lastId;
    return m_lastId;
}

void Faults::remove(int id) {
    const std::lock_guard lock(m_mutex);
    m_faults.removeIf([id](const Fault &fault) { return id < 0 || fault.id == id; });
    m_changed.notify_all();
}

QJsonArray Faults::list() {
    const std::lock_guard lock(m_mutex);
    QJsonArray array;
    for (const Fault &fault : std::as_const(m_faults))
        array.append(fault.toJson());
    return array;
}

std::optional<Fault> Faults::match(const QString &host, const HttpRequest &request) {
    const std::lock_guard lock(m_mutex);
    const QString path = QString::fromLatin1(request.path);
    const QString query =
        QString::fromUtf8(QByteArray::fromPercentEncoding(QByteArray(request.query).replace('+', ' ')));
    for (Fault &fault : m_faults) {
        if ((!fault.method.isEmpty() && fault.method.toLatin1() != request.method) ||
            (!fault.host.isEmpty() && fault.host != host) || !path.startsWith(fault.pathPrefix) ||
            !query.contains(fault.query) || fault.count == 0) {
            continue;
        }
        if (fault.skip > 0) {
            --fault.skip;
            continue;
        }
        fault.count -= fault.count > 0 ? 1 : 0;
        ++fault.hits;
        return fault;
    }
    return std::nullopt;
}

bool Faults::contains(int id) const {
    return std::any_of(m_faults.begin(), m_faults.end(), [id](const Fault &fault) { return fault.id == id; });
}

void Faults::hold(int id, int descriptor) {
    std::unique_lock lock(m_mutex);
    while (!m_stopped && contains(id)) {
        pollfd peer{descriptor, POLLRDHUP, 0};
        if (::poll(&peer, 1, 0) > 0)
            return;
        m_changed.wait_for(lock, std::chrono::milliseconds(100));
    }
}

void Faults::stop() {
    const std::lock_guard lock(m_mutex);
    m_stopped = true;
    m_changed.notify_all();
}

} // namespace quillmount::standin
