// SPDX-License-Identifier: LicenseRef-Quillmount
#include "Manners.h"

#include "GoogleStandIn/ApiError.h"

#include <QSet>

#include <algorithm>
#include <thread>

using namespace Qt::StringLiterals;

namespace quillmount::standin {

namespace {
bool isInsert(const HttpRequest &request) {
    // The chunks of a resumable upload belong to the insert that began it.
    const bool begins = request.method == "POST" || request.method == "PATCH";
    return begins && !request.query.contains("upload_id=") &&
           (request.path.startsWith("/upload/") || (request.method == "POST" && request.path == "/drive/v3/files"));
}
} // namespace

bool Manners::Bucket::take() {
    if (rate <= 0)
        return true;
    const auto now = std::chrono::steady_clock::now();
    tokens = std::min(size, tokens + rate * std::chrono::duration<double>(now - filled).count());
    filled = now;
    if (tokens < 1)
        return false;
    tokens -= 1;
    return true;
}

void Manners::set(const QJsonObject &json) {
    static const QSet<QString> known{u"latency"_s, u"insertLatency"_s, u"callsPerSecond"_s, u"insertsPerSecond"_s,
                                     u"burst"_s};
    for (auto it = json.begin(); it != json.end(); ++it) {
        if (!known.contains(it.key()) || it->toDouble(-1) < 0)
            throw ApiError::badRequest(u"Not a manner: '%1'"_s.arg(it.key()));
    }
    const auto bucket = [&json](QLatin1StringView name) {
        const double rate = json.value(name).toDouble();
        const double size = std::max(1.0, rate * json.value("burst"_L1).toDouble(1));
        return Bucket{.rate = rate, .size = size, .tokens = size, .filled = std::chrono::steady_clock::now()};
    };
    const std::lock_guard lock(m_mutex);
    m_latency = std::chrono::milliseconds(json.value("latency"_L1).toInteger());
    m_insertLatency = std::chrono::milliseconds(json.value("insertLatency"_L1).toInteger());
    m_calls = bucket("callsPerSecond"_L1);
    m_inserts = bucket("insertsPerSecond"_L1);
}

void Manners::receive(const HttpRequest &request) {
    const bool insert = isInsert(request);
    std::chrono::milliseconds latency{};
    bool welcome = true;
    {
        const std::lock_guard lock(m_mutex);
        welcome = m_calls.take() && (!insert || m_inserts.take());
        latency = m_latency + (insert && welcome ? m_insertLatency : std::chrono::milliseconds());
    }
    std::this_thread::sleep_for(latency);
    if (!welcome)
        throw ApiError(403, u"userRateLimitExceeded"_s, u"User Rate Limit Exceeded"_s);
}

} // namespace quillmount::standin
