// SPDX-License-Identifier: LicenseRef-Quillmount
#pragma once

#include "GoogleStandIn/HttpConnection.h"

#include <QJsonObject>

#include <chrono>
#include <mutex>

namespace quillmount::standin {

// How long calls of the Drive take and how many are welcome. Without manners both are up to the machine. Thread-safe.
class Manners {
public:
    // Members, each absent or 0 for none: "latency" and "insertLatency" (milliseconds, the latter in addition, for
    // calls that bring content or make a file), "callsPerSecond", "insertsPerSecond". Each rate may be exceeded by as
    // many calls as it allows in "burst" (seconds, 1 if absent) before calls are refused. Throws ApiError (400).
    void set(const QJsonObject &json);
    // Takes its time for a call; throws ApiError (403) if there are too many.
    void receive(const HttpRequest &request);

private:
    // Fills up at a rate, and is empty when calls come faster.
    struct Bucket {
        double rate = 0; // A second; 0: no limit.
        double size = 0;
        double tokens = 0;
        std::chrono::steady_clock::time_point filled;

        bool take();
    };

    std::mutex m_mutex;
    std::chrono::milliseconds m_latency{};
    std::chrono::milliseconds m_insertLatency{};
    Bucket m_calls;
    Bucket m_inserts;
};

} // namespace quillmount::standin
