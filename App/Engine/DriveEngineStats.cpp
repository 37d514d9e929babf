// SPDX-License-Identifier: LicenseRef-Quillmount
// What the engine is asked at each poll, and what is read from its answers.
#include "App/Engine/DriveEngine.h"

#include <QJsonArray>
#include <QLoggingCategory>
#include <QPointer>

#include <algorithm>
#include <cmath>
#include <utility>

namespace quillmount {

using namespace std::chrono_literals;
using namespace Qt::StringLiterals;

Q_DECLARE_LOGGING_CATEGORY(engineLog)

namespace {

constexpr auto quotaPeriod = 300s;
constexpr int shownTransfers = 5;
constexpr auto driveFolderName = "Quillmount"_L1;
constexpr auto driveWebOrigin = "https://drive.google.com"_L1;

// Any number as a whole one; 0 for what is none.
qint64 wholeNumber(const QJsonValue &value) {
    if (!value.isDouble())
        return 0;
    const double number = value.toDouble();
    constexpr double limit = 9.2e18;
    if (std::abs(number) > limit)
        return number < 0 ? std::numeric_limits<qint64>::min() : std::numeric_limits<qint64>::max();
    return value.toInteger(static_cast<qint64>(number));
}

DriveTransfer transferFrom(const QJsonObject &entry) {
    const QString id = entry.value("name"_L1).toString();
    return {id, id.section(u'/', -1, -1, QString::SectionSkipEmpty),
            static_cast<int>(entry.value("percentage"_L1).toInteger(0))};
}

QJsonObject aboutQuestion() {
    return {{u"fs"_s, u"drive:"_s}};
}

QJsonObject listQuestion() {
    return {{u"fs"_s, u"drive:"_s}, {u"remote"_s, QString()}, {u"opt"_s, QJsonObject{{u"dirsOnly"_s, true}}}};
}

bool isArrayOfObjects(const QJsonValue &value) {
    const QJsonArray array = value.toArray();
    return value.isArray() && std::ranges::all_of(array, [](const QJsonValue &entry) { return entry.isObject(); });
}

} // namespace

QCoro::Task<bool> DriveEngine::askCacheFigures() {
    const QPointer self(this);
    if (!m_rc)
        co_return false;
    const quint64 run = m_run;
    const RemoteControl rc = *m_rc;
    const auto vfsStats = co_await rc.answer(u"vfs/stats"_s, {});
    if (!self || !isCurrent(run) || !vfsStats)
        co_return false;
    if (vfsStats->value("setAside"_L1).isObject())
        tellOfRecoveredFiles(vfsStats->value("setAside"_L1).toObject());
    if (!vfsStats->value("diskCache"_L1).isObject())
        co_return false;
    readCacheFigures(vfsStats->value("diskCache"_L1).toObject());
    co_return true;
}

QCoro::Task<> DriveEngine::refresh() {
    const QPointer self(this);
    if (!m_rc)
        co_return;
    const quint64 run = m_run;
    const RemoteControl rc = *m_rc;

    co_await askCacheFigures();
    if (!self || !isCurrent(run))
        co_return;

    const auto coreStats = co_await rc.answer(u"core/stats"_s, {});
    if (!self || !isCurrent(run))
        co_return;
    if (coreStats)
        readTransfers(*coreStats);

    const auto now = m_clock.uptime();
    if (!m_lastQuotaFetch || now - *m_lastQuotaFetch > quotaPeriod) {
        // Set before the question: one that fails is not repeated for the whole period.
        m_lastQuotaFetch = now;
        co_await refreshQuota(rc);
        if (!self || !isCurrent(run))
            co_return;
    }
    if (!m_driveFolderURL)
        co_await refreshFolderURL(rc);
}

void DriveEngine::tellOfRecoveredFiles(const QJsonObject &setAside) {
    const QString folder = setAside.value("directory"_L1).toString();
    // The engine says it in each answer of its run.
    if (folder.isEmpty() || folder == std::exchange(m_recoveryFolder, folder))
        return;
    const qint64 count = wholeNumber(setAside.value("files"_L1));
    qCWarning(engineLog, "%lld damaged files of the cache are kept in %ls", static_cast<long long>(count),
              qUtf16Printable(folder));
    Q_EMIT filesRecovered(folder, count);
}

void DriveEngine::readCacheFigures(const QJsonObject &diskCache) {
    const auto assign = [this](qint64 Stats::*field, qint64 value) {
        publish(this, &DriveEngine::statsChanged, [&] { m_stats.*field = value; });
    };
    assign(&Stats::uploadsQueued, diskCache.value("uploadsQueued"_L1).toInteger(0));
    assign(&Stats::uploadsInProgress, diskCache.value("uploadsInProgress"_L1).toInteger(0));
    assign(&Stats::erroredFiles, diskCache.value("erroredFiles"_L1).toInteger(0));
    assign(&Stats::cacheBytes, wholeNumber(diskCache.value("bytesUsed"_L1)));
}

void DriveEngine::readTransfers(const QJsonObject &coreStats) {
    publish(this, &DriveEngine::statsChanged,
            [&] { m_stats.bytesPerSecond = coreStats.value("speed"_L1).toDouble(0); });

    QList<Transfer> transfers;
    const QJsonValue transferring = coreStats.value("transferring"_L1);
    if (isArrayOfObjects(transferring)) {
        const QJsonArray entries = transferring.toArray();
        for (qsizetype index = 0; index < entries.size() && index < shownTransfers; ++index)
            transfers.append(transferFrom(entries.at(index).toObject()));
    }
    publish(this, &DriveEngine::statsChanged, [&] { m_stats.transfers = std::move(transfers); });

    // An answer that comes after the drive has gone on to another state does not take it back.
    const bool isPolled = m_state == State::live || m_state == State::ejecting;
    const QJsonValue lastError = coreStats.value("lastError"_L1);
    if (isPolled && lastError.isString() &&
        ErrorMapper::classify(lastError.toString()) == ErrorMapper::Kind::needsReconnect)
        setState(State::failure(ErrorMapper::Kind::needsReconnect));
}

QCoro::Task<> DriveEngine::refreshQuota(RemoteControl rc) {
    const QPointer self(this);
    const quint64 run = m_run;
    const auto about = co_await rc.answer(u"operations/about"_s, aboutQuestion());
    if (!self || !isCurrent(run) || !about)
        co_return;
    const qint64 total = wholeNumber(about->value("total"_L1));
    const qint64 used = wholeNumber(about->value("used"_L1));
    if (total < 1)
        co_return;
    const QJsonValue reported = about->value("free"_L1);
    const qint64 free = reported.isDouble() ? wholeNumber(reported) : used >= total ? 0 : total - std::max(used, 0LL);
    publish(this, &DriveEngine::quotaChanged, [&] { m_quota = Quota{total, used, free}; });
}

QCoro::Task<> DriveEngine::refreshFolderURL(RemoteControl rc) {
    const QPointer self(this);
    const quint64 run = m_run;
    const auto listing = co_await rc.answer(u"operations/list"_s, listQuestion());
    if (!self || !isCurrent(run) || !listing || !isArrayOfObjects(listing->value("list"_L1)))
        co_return;
    const QJsonArray entries = listing->value("list"_L1).toArray();
    for (const QJsonValue &entry : entries) {
        const QJsonValue id = entry["ID"_L1];
        if (entry["Name"_L1].toString() != driveFolderName || !id.isString())
            continue;
        const QUrl url(driveWebOrigin + "/drive/folders/"_L1 + id.toString(), QUrl::StrictMode);
        publish(this, &DriveEngine::driveFolderURLChanged,
                [&] { m_driveFolderURL = url.isValid() ? std::optional(url) : std::nullopt; });
        co_return;
    }
}

} // namespace quillmount
