// SPDX-License-Identifier: LicenseRef-Quillmount
#include "RequestLog.h"

#include "GoogleStandIn/TimeText.h"

#include <QStringList>

#include <algorithm>

using namespace Qt::StringLiterals;

namespace quillmount::standin {

namespace {
constexpr size_t keptEntries = 20'000;

QString withoutSecrets(const QByteArray &query) {
    QStringList pairs =
        QString::fromUtf8(QByteArray::fromPercentEncoding(QByteArray(query).replace('+', ' '))).split(u'&');
    for (QString &pair : pairs) {
        for (const QString &name : {u"upload_id"_s, u"access_token"_s, u"oauth_token"_s, u"key"_s, u"code"_s,
                                    u"token"_s, u"state"_s, u"code_challenge"_s}) {
            if (pair.startsWith(name + u'='))
                pair = name + u"=…"_s;
        }
    }
    return pairs.join(u'&');
}
} // namespace

qint64 RequestLog::begin(const QString &method, const QString &host, const QByteArray &path, const QByteArray &query) {
    const std::lock_guard lock(m_mutex);
    if (m_entries.size() == keptEntries)
        m_entries.pop_front();
    ++m_total;
    Entry &entry = m_entries.emplace_back();
    entry.number = ++m_last;
    entry.startedMs = nowMs();
    entry.method = method;
    entry.host = host;
    entry.path = QString::fromLatin1(path);
    entry.query = withoutSecrets(query);
    return entry.number;
}

RequestLog::Entry *RequestLog::find(qint64 number) {
    const auto it = std::lower_bound(m_entries.begin(), m_entries.end(), number,
                                     [](const Entry &entry, qint64 value) { return entry.number < value; });
    return it == m_entries.end() || it->number != number ? nullptr : &*it;
}

void RequestLog::count(Entry &entry, const QString &kind, int status) {
    entry.kind = kind;
    entry.status = status;
    if (!entry.counted) {
        entry.counted = true;
        ++m_byKind[kind];
        ++m_byStatus[status];
    }
}

void RequestLog::answering(qint64 number, const QString &kind, int status, qint64 received) {
    const std::lock_guard lock(m_mutex);
    if (Entry *entry = find(number)) {
        count(*entry, kind, status);
        entry->received = received;
    }
}

void RequestLog::end(qint64 number, const QString &kind, int status, const QString &outcome, qint64 received,
                     qint64 sent) {
    const std::lock_guard lock(m_mutex);
    Entry *entry = find(number);
    if (!entry)
        return;
    count(*entry, kind, status);
    entry->endedMs = nowMs();
    entry->outcome = outcome;
    entry->received = received;
    entry->sent = sent;
}

QJsonArray RequestLog::list(qint64 from) {
    const std::lock_guard lock(m_mutex);
    QJsonArray array;
    for (const Entry &entry : m_entries) {
        if (entry.number < from)
            continue;
        array.append(QJsonObject{{"number"_L1, entry.number},
                                 {"started"_L1, formatTime(entry.startedMs)},
                                 {"milliseconds"_L1, entry.endedMs ? entry.endedMs - entry.startedMs : -1},
                                 {"method"_L1, entry.method},
                                 {"host"_L1, entry.host},
                                 {"path"_L1, entry.path},
                                 {"query"_L1, entry.query},
                                 {"kind"_L1, entry.kind},
                                 {"status"_L1, entry.status},
                                 {"outcome"_L1, entry.endedMs ? entry.outcome : u"open"_s},
                                 {"received"_L1, entry.received},
                                 {"sent"_L1, entry.sent}});
    }
    return array;
}

QJsonObject RequestLog::statistics() {
    const std::lock_guard lock(m_mutex);
    QJsonObject kinds;
    for (const auto &[kind, count] : m_byKind)
        kinds.insert(kind, count);
    QJsonObject statuses;
    for (const auto &[status, count] : m_byStatus)
        statuses.insert(QString::number(status), count);
    return {{"total"_L1, m_total}, {"byKind"_L1, kinds}, {"byStatus"_L1, statuses}};
}

void RequestLog::clear() {
    const std::lock_guard lock(m_mutex);
    m_entries.clear();
    m_total = 0;
    m_byKind.clear();
    m_byStatus.clear();
}

} // namespace quillmount::standin
