// SPDX-License-Identifier: LicenseRef-Quillmount
// The engine process of the drive: its launch, its end, and what follows from that.
#include "App/Engine/DriveEngine.h"
#include "App/Engine/DriveMount.h"
#include "App/Engine/EngineLaunch.h"
#include "App/Engine/EngineLock.h"
#include "App/Engine/EngineLog.h"
#include "App/Engine/EngineProcess.h"
#include "App/Support/Paths.h"
#include "Platform/OwnEnvironment.h"

#include <QLoggingCategory>
#include <QPointer>
#include <QScopeGuard>

#include <algorithm>

namespace quillmount {

using namespace std::chrono_literals;

Q_DECLARE_LOGGING_CATEGORY(engineLog)

void DriveEngine::launch() {
    if (m_process || m_hasShutDown || !m_mayStart)
        return;
    const std::optional<QString> binary = Paths::engineBinary();
    if (!binary) {
        qCWarning(engineLog, "the engine executable is missing");
        handle(Event::engineMissing);
        return;
    }
    m_restartTask.cancel();
    m_stopRequested = false;
    m_forceEjectRequested = false;
    handle(Event::launch);
    m_mount->settlePoint();
    const auto unsettle = qScopeGuard([this] {
        if (!m_process)
            m_mount->freePoint();
    });
    m_mount->clearLeftovers(*binary);
    const std::optional<EngineLock> lock = EngineLock::acquire();
    if (!lock) {
        qCWarning(engineLog, "another engine still uses the cache");
        restartOrFail(Event::cacheInUse, ErrorMapper::Kind::unknown);
        return;
    }
    EngineLog::rotate();
    if (!m_mount->prepareMountPoint()) {
        handle(Event::mountPointUnusable);
        return;
    }

    const EngineLaunch settings = EngineLaunch::prepare();
    auto *process = new EngineProcess(this);
    const quint64 run = m_run + 1;
    QObject::connect(process, &EngineProcess::ended, this, [this, run] { engineExited(run); });
    if (!process->start(*binary, settings.arguments(), settings.environment(OwnEnvironment::forChildren()),
                        lock->descriptor())) {
        qCWarning(engineLog, "the engine could not be started");
        delete process;
        handle(Event::engineNotStarted);
        return;
    }
    qCInfo(engineLog, "the engine runs as process %lld", static_cast<long long>(process->processId()));
    m_run = run;
    m_process = process;
    m_rc = RemoteControl{settings.remoteControlPort, settings.remoteControlUser, settings.remoteControlPassword};
    m_nfsPort = settings.nfsPort;
    m_pollTask.cancel();
    m_pollTask.start([this](std::stop_token stop) { return mountThenPoll({}, std::move(stop)); });
}

void DriveEngine::engineExited(quint64 run) {
    if (run != m_run || !m_process)
        return;
    m_process->deleteLater();
    m_process = nullptr;
    m_rc.reset();
    m_pollTask.cancel();
    m_mount->stopWatching();
    if (isMounted())
        m_mount->force();
    m_mount->freePoint();
    restartOrFail(Event::engineExited, ErrorMapper::classify(ErrorMapper::lastLogError()));
    if (m_state.isFailed())
        clearStats();
}

void DriveEngine::restartOrFail(Event event, ErrorMapper::Kind kind) {
    if (handle(event, kind) != State(State::starting))
        return;
    const Clock::Duration delay = DriveTransition::restartDelay(++m_restartAttempts);
    qCInfo(engineLog, "restarting in %lld s (attempt %lld)",
           static_cast<long long>(std::chrono::duration_cast<std::chrono::seconds>(delay).count()),
           static_cast<long long>(m_restartAttempts));
    if (m_process)
        m_pollTask.start([this, delay](std::stop_token stop) { return mountThenPoll(delay, std::move(stop)); });
    else
        m_restartTask.start([this, delay](std::stop_token stop) { return startAfter(delay, m_wish, std::move(stop)); });
}

QCoro::Task<> DriveEngine::startAfter(Clock::Duration delay, quint64 wish, std::stop_token stop) {
    const QPointer self(this);
    const bool slept = co_await m_clock.sleep(delay, std::move(stop));
    if (slept && self && wish == m_wish)
        start();
}

QCoro::Task<> DriveEngine::stopEngine() {
    const QPointer self(this);
    const QPointer process(m_process);
    if (!process)
        co_return;
    m_stopRequested = true;
    m_pollTask.cancel();
    co_await m_mount->remove();
    // An engine that was started meanwhile is not ours to end, nor is its mount.
    if (!self || !process || m_process != process)
        co_return;
    co_await process->end();
}

QCoro::Task<> DriveEngine::endEngines() {
    const QPointer self(this);
    co_await stopEngine();
    // Another one may still run on the cache while this process has none of its own.
    if (self && !m_process) {
        co_await m_mount->endFormerRun(Paths::engineBinary().value_or(QString()));
    }
}

} // namespace quillmount
