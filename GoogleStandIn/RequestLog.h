// SPDX-License-Identifier: LicenseRef-Quillmount
#pragma once

#include <QJsonArray>
#include <QJsonObject>
#include <QString>

#include <deque>
#include <map>
#include <mutex>

namespace quillmount::standin {

// The requests that were served, for tests to look at. Holds nothing secret: no header, no body, and no value of a
// parameter that gives access. Thread-safe.
class RequestLog {
public:
    // Notes a request when its head has come; gives its number.
    qint64 begin(const QString &method, const QString &host, const QByteArray &path, const QByteArray &query);
    // Notes what it turned out to be, before its answer goes out: whoever has the answer finds the request counted.
    void answering(qint64 number, const QString &kind, int status, qint64 received);
    // Notes how it ended. `outcome` is "answered", "stalled", "dropped" or "lost".
    void end(qint64 number, const QString &kind, int status, const QString &outcome, qint64 received, qint64 sent);
    // The requests from number `from` on, oldest first.
    QJsonArray list(qint64 from);
    // {"total","byKind":{kind: n},"byStatus":{status: n}} since the last clear().
    QJsonObject statistics();
    void clear();

private:
    struct Entry {
        qint64 number = 0;
        qint64 startedMs = 0;
        qint64 endedMs = 0;
        QString method;
        QString host;
        QString path;
        QString query;
        QString kind;
        QString outcome;
        int status = 0;
        bool counted = false;
        qint64 received = 0;
        qint64 sent = 0;
    };

    Entry *find(qint64 number);
    void count(Entry &entry, const QString &kind, int status);

    std::mutex m_mutex;
    std::deque<Entry> m_entries;
    qint64 m_last = 0;
    qint64 m_total = 0;
    std::map<QString, qint64> m_byKind;
    std::map<int, qint64> m_byStatus;
};

} // namespace quillmount::standin
