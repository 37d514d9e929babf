// SPDX-License-Identifier: LicenseRef-Quillmount
// The engine process of the drive: its launch, its end, and what follows from that.
#include "App/Engine/DriveEngine.h"
#include "App/Engine/DriveMount.h"
#include "App/Engine/EngineLaunch.h"
#include "App/Engine/EngineLock.h"
#include "App/Engine/EngineLog.h"
#include "App/Engine/EngineProcess.h"
#include "App/Engine/MountPoint.h"
#include "App/Engine/Shell.h"
#include "App/Support/Paths.h"
#include "App/Support/VolumeSetup.h"
#include "Platform/Platform.h"

#include <QDir>
#include <QLoggingCategory>
#include <QPointer>

#include <algorithm>

namespace quillmount {

using namespace std::chrono_literals;

Q_DECLARE_LOGGING_CATEGORY(engineLog)

namespace {

constexpr double processCheckTimeout = 10;
constexpr double volumeReadyTimeout = 5;
constexpr qint64 restartLimit = 5;
constexpr int stopChecks = 20;
constexpr auto stopCheckPause = 250ms;
constexpr auto killCheckPause = 50ms;
constexpr int noneFound = 1;

Clock::Duration restartDelay(qint64 attempt) {
    return std::min<Clock::Duration>(std::chrono::seconds(1LL << attempt), 30s);
}

} // namespace

void DriveEngine::launch() {
    if (m_process || m_hasShutDown)
        return;
    const std::optional<QString> binary = Paths::engineBinary();
    if (!binary) {
        qCWarning(engineLog, "the engine executable is missing");
        setState(State::failure(ErrorMapper::Kind::unknown));
        return;
    }
    m_restartTask.cancel();
    m_stopRequested = false;
    m_forceEjectRequested = false;
    setState(State::starting);
    clearLeftovers(*binary);
    const std::optional<EngineLock> lock = EngineLock::acquire();
    if (!lock) {
        qCWarning(engineLog, "another engine still uses the cache");
        restartOrFail(ErrorMapper::Kind::unknown);
        return;
    }
    EngineLog::rotate();
    if (!prepareMountPoint()) {
        setState(State::failure(ErrorMapper::Kind::mountRefused));
        return;
    }

    const EngineLaunch settings = EngineLaunch::prepare();
    auto *process = new EngineProcess(this);
    const quint64 run = m_run + 1;
    QObject::connect(process, &EngineProcess::ended, this, [this, run] { engineExited(run); });
    if (!process->start(*binary, settings.arguments(), settings.environment(QProcessEnvironment::systemEnvironment()),
                        lock->descriptor())) {
        qCWarning(engineLog, "the engine could not be started");
        delete process;
        setState(State::failure(ErrorMapper::Kind::unknown));
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

bool DriveEngine::prepareMountPoint() {
    if (m_volumeSetup.isInstalled()) {
        m_volumeSetup.waitUntilReady(volumeReadyTimeout);
        return true;
    }
    if (isMounted())
        return true;
    if (m_mount->isPointTaken()) {
        qCWarning(engineLog, "something of the user's own is at the mount point; it stays as it is");
        Q_EMIT mountPointTaken(mountPoint());
        return false;
    }
    const MountPoint::Preparation prepared = MountPoint::prepare(mountPoint());
    if (prepared.setAside) {
        qCWarning(engineLog, "the mount point was not empty; its files are kept in %ls",
                  qUtf16Printable(*prepared.setAside));
        Q_EMIT filesSetAside(*prepared.setAside);
    }
    if (!prepared.isUsable)
        qCWarning(engineLog, "the mount point cannot be made, or be emptied");
    return prepared.isUsable;
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
    if (m_hasShutDown || (m_state == State::ejecting && !m_stopRequested)) {
        // Nobody wants it back; what it did not upload waits in the cache.
        setState(restingState());
        return;
    }
    if (m_stopRequested)
        return;
    if (m_state.isFailed()) {
        clearStats();
        return;
    }
    const ErrorMapper::Kind kind = ErrorMapper::classify(ErrorMapper::lastLogError());
    if (kind == ErrorMapper::Kind::needsReconnect)
        setState(State::failure(kind));
    else
        restartOrFail(kind);
}

void DriveEngine::restartOrFail(ErrorMapper::Kind kind) {
    if (++m_restartAttempts > restartLimit) {
        setState(State::failure(kind));
        return;
    }
    setState(State::starting);
    const Clock::Duration delay = restartDelay(m_restartAttempts);
    qCInfo(engineLog, "starting again in %lld s (attempt %lld)",
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
    if (!m_process)
        co_return;
    const quint64 run = m_run;
    // An engine that is started while this one goes away is not ours to end, nor is its mount.
    const auto runsStill = [](const DriveEngine &engine, quint64 ours) {
        return engine.m_process && engine.m_run == ours;
    };
    m_stopRequested = true;
    m_pollTask.cancel();
    co_await m_mount->remove();
    if (!self || !runsStill(*this, run))
        co_return;
    m_process->terminate();
    for (int check = 0; check < stopChecks; ++check) {
        co_await m_clock.sleep(stopCheckPause, {});
        if (!self || !runsStill(*this, run))
            co_return;
    }
    m_process->kill();
    // However long the system takes over it: whoever waits here must not act on the cache of an engine that runs.
    for (;;) {
        co_await m_clock.sleep(killCheckPause, {});
        if (!self || !runsStill(*this, run))
            co_return;
    }
}

void DriveEngine::clearLeftovers(const QString &binary) {
    const SystemCommands &commands = *Platform::current().systemCommands;
    const EngineIdentity engine{binary, Paths::engineConfig()};
    // A search that failed has told nothing.
    if (Shell::run(commands.findEngines(engine), processCheckTimeout) != noneFound) {
        m_mount->removeNow();
        for (const Command &command : commands.endEngines(engine))
            Shell::run(command, processCheckTimeout);
    }
    if (isMounted())
        m_mount->force();
    const QString home = Paths::homeMountPoint();
    if (mountPoint() != home && !Platform::current().mountTable->isMounted(home))
        QDir().rmdir(home);
}

} // namespace quillmount
