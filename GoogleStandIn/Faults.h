// SPDX-License-Identifier: LicenseRef-Quillmount
#pragma once

#include "GoogleStandIn/HttpConnection.h"

#include <QJsonArray>
#include <QJsonObject>

#include <condition_variable>
#include <mutex>
#include <optional>

namespace quillmount::standin {

// What goes wrong, for which requests and how often.
struct Fault {
    int id = 0;
    QString method;     // Empty: any.
    QString host;       // Empty: any.
    QString pathPrefix; // Empty: any.
    QString query;      // Text that the (decoded) query contains; empty: any.
    int skip = 0;       // Matching requests that still pass.
    int count = -1;     // Requests that are still hit; -1: all.
    int hits = 0;

    int status = 0; // Answered instead of the call; 0: the call goes on, with the interference below.
    QString reason;
    QString message;
    Interference interference;

    // Throws ApiError (400) for a form that makes no sense.
    static Fault fromJson(const QJsonObject &json);
    QJsonObject toJson() const;
};

// The faults that are switched on. Thread-safe.
class Faults {
public:
    int add(const Fault &fault);
    // Removes one (or all with -1); requests that it holds are let go, which cuts their connections.
    void remove(int id);
    QJsonArray list();
    // The first fault for the request, counted as a hit.
    std::optional<Fault> match(const QString &host, const HttpRequest &request);
    // Holds the caller while the fault is there and the peer has not gone.
    void hold(int id, int descriptor);
    // Lets everybody go, for the end of the program.
    void stop();

private:
    bool contains(int id) const;

    std::mutex m_mutex;
    std::condition_variable m_changed;
    QList<Fault> m_faults;
    int m_lastId = 0;
    bool m_stopped = false;
};

} // namespace quillmount::standin
