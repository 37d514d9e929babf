// SPDX-License-Identifier: LicenseRef-Quillmount
// What the engine is asked at each poll.
#include "App/Engine/DriveEngine.h"
#include "App/Engine/EngineAnswers.h"

#include <QLoggingCategory>
#include <QPointer>

#include <utility>

namespace quillmount {

using namespace std::chrono_literals;
using namespace Qt::StringLiterals;

Q_DECLARE_LOGGING_CATEGORY(engineLog)

namespace {
constexpr auto quotaPeriod = 300s;
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
    tellOfRecoveredFiles(*vfsStats);
    const std::optional<Stats> figures = EngineAnswers::cacheFigures(*vfsStats);
    if (!figures)
        co_return false;
    for (const auto field :
         {&Stats::uploadsQueued, &Stats::uploadsInProgress, &Stats::erroredFiles, &Stats::cacheBytes})
        publish(this, &DriveEngine::statsChanged, [&] { m_stats.*field = *figures.*field; });
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
        publishTransfers(*coreStats);

    const auto now = m_clock.uptime();
    if (!m_lastQuotaFetch || now - *m_lastQuotaFetch > quotaPeriod) {
        // Set before the question: one that fails is not repeated for the whole period.
        m_lastQuotaFetch = now;
        co_await refreshQuota(rc);
        if (!self || !isCurrent(run))
            co_return;
    }
    if (!m_driveFolderURL) {
        co_await refreshFolderURL(rc);
    }
}

void DriveEngine::tellOfRecoveredFiles(const QJsonObject &vfsStats) {
    const auto recovered = EngineAnswers::recoveredFiles(vfsStats);
    // The engine says it in each answer of its run.
    if (!recovered || recovered->folder == std::exchange(m_recoveryFolder, recovered->folder))
        return;
    qCWarning(engineLog, "%lld damaged files of the cache are kept in %ls", static_cast<long long>(recovered->count),
              qUtf16Printable(recovered->folder));
    Q_EMIT filesRecovered(recovered->folder, recovered->count);
}

void DriveEngine::publishTransfers(const QJsonObject &coreStats) {
    publish(this, &DriveEngine::statsChanged,
            [&] { m_stats.bytesPerSecond = EngineAnswers::bytesPerSecond(coreStats); });
    publish(this, &DriveEngine::statsChanged, [&] { m_stats.transfers = EngineAnswers::transfers(coreStats); });
    handle(Event::engineReportedError, EngineAnswers::lastError(coreStats));
}

QCoro::Task<> DriveEngine::refreshQuota(RemoteControl rc) {
    const QPointer self(this);
    const quint64 run = m_run;
    const auto answer = co_await rc.answer(u"operations/about"_s, EngineAnswers::aboutQuestion());
    if (!self || !isCurrent(run) || !answer)
        co_return;
    if (const std::optional<Quota> quota = EngineAnswers::quota(*answer))
        publish(this, &DriveEngine::quotaChanged, [&] { m_quota = quota; });
}

QCoro::Task<> DriveEngine::refreshFolderURL(RemoteControl rc) {
    const QPointer self(this);
    const quint64 run = m_run;
    const auto answer = co_await rc.answer(u"operations/list"_s, EngineAnswers::listQuestion());
    if (!self || !isCurrent(run) || !answer)
        co_return;
    if (const std::optional<QUrl> url = EngineAnswers::folderURL(*answer))
        publish(this, &DriveEngine::driveFolderURLChanged,
                [&] { m_driveFolderURL = url->isValid() ? url : std::nullopt; });
}

} // namespace quillmount
