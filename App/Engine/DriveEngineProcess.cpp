// SPDX-License-Identifier: LicenseRef-Quillmount
// The engine process of the drive: its launch, its end, and what follows from that.
#include "App/Engine/DriveEngine.h"
#include "App/Engine/EngineLaunch.h"
#include "App/Engine/EngineProcess.h"
#include "App/Engine/MountPoint.h"
#include "App/Engine/Shell.h"
#include "App/Support/Paths.h"
#include "App/Support/VolumeSetup.h"
#include "Platform/Platform.h"

#include <QDir>
#include <QFile>
#include <QLoggingCategory>
#include <QPointer>

#include <algorithm>
#include <thread>

namespace quillmount {

using namespace std::chrono_literals;
using namespace Qt::StringLiterals;

Q_DECLARE_LOGGING_CATEGORY(engineLog)

namespace {

constexpr double unmountTimeout = 6;
constexpr double processCheckTimeout = 10;
constexpr double volumeReadyTimeout = 5;
constexpr qint64 restartLimit = 5;
constexpr int stopChecks = 20;
constexpr auto stopCheckPause = 250ms;
constexpr auto killCheckPause = 50ms;

Clock::Duration restartDelay(qint64 attempt) {
    return std::min<Clock::Duration>(std::chrono::seconds(1LL << attempt), 30s);
}

// What an earlier run reported must not explain the end of this one. One old log is kept.
void rotateEngineLog() {
    const QString former = Paths::engineLog() + u".1"_s;
    if (QFile::exists(Paths::engineLog())) {
        QFile::remove(former);
        QFile::rename(Paths::engineLog(), former);
    }
}

} // namespace

void DriveEngine::launch() {
    if (m_process)
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
    rotateEngineLog();
    if (m_volumeSetup.isInstalled())
        m_volumeSetup.waitUntilReady(volumeReadyTimeout);
    else if (!isMounted()) {
        if (const auto aside = MountPoint::prepare(mountPoint())) {
            qCWarning(engineLog, "the mount point was not empty; its files are kept in %ls", qUtf16Printable(*aside));
            Q_EMIT filesSetAside(*aside);
        }
    }

    const EngineLaunch settings = EngineLaunch::prepare();
    auto *process = new EngineProcess(this);
    const quint64 generation = m_launchGeneration + 1;
    QObject::connect(process, &EngineProcess::ended, this, [this, generation] { engineExited(generation); });
    if (!process->start(*binary, settings.arguments(),
                        settings.environment(QProcessEnvironment::systemEnvironment()))) {
        qCWarning(engineLog, "the engine could not be started");
        delete process;
        setState(State::failure(ErrorMapper::Kind::unknown));
        return;
    }
    qCInfo(engineLog, "the engine runs as process %lld", static_cast<long long>(process->processId()));
    m_launchGeneration = generation;
    m_process = process;
    m_rc = RemoteControl{settings.remoteControlPort, settings.remoteControlUser, settings.remoteControlPassword};
    m_nfsPort = settings.nfsPort;
    m_pollTask.cancel();
    m_pollTask.start([this](std::stop_token stop) { return waitForMountThenPoll(m_nfsPort, std::move(stop)); });
}

void DriveEngine::engineExited(quint64 generation) {
    if (generation != m_launchGeneration || !m_process)
        return;
    m_process->deleteLater();
    m_process = nullptr;
    m_rc.reset();
    m_pollTask.cancel();
    stopWatchingMount();
    if (isMounted())
        forceUnmount();
    if (m_stopRequested || m_state.isFailed())
        return;
    const ErrorMapper::Kind kind = ErrorMapper::classify(ErrorMapper::lastLogError());
    if (kind == ErrorMapper::Kind::needsReconnect) {
        setState(State::failure(kind));
        return;
    }
    if (++m_restartAttempts > restartLimit) {
        setState(State::failure(kind));
        return;
    }
    setState(State::starting);
    restartAfter(restartDelay(m_restartAttempts));
}

void DriveEngine::restartAfter(Clock::Duration delay) {
    qCInfo(engineLog, "the engine ended; starting it again in %lld s (attempt %lld)",
           static_cast<long long>(std::chrono::duration_cast<std::chrono::seconds>(delay).count()),
           static_cast<long long>(m_restartAttempts));
    m_restartTask.start([this, delay](std::stop_token stop) {
        return [](QPointer<DriveEngine> self, Clock::Duration pause, std::stop_token cancelled) -> QCoro::Task<> {
            const bool slept = co_await self->m_clock.sleep(pause, cancelled);
            if (slept && self)
                self->start();
        }(this, delay, std::move(stop));
    });
}

QCoro::Task<> DriveEngine::detach() {
    const QPointer self(this);
    const quint64 generation = m_launchGeneration;
    // An engine that is started while this one goes away is not ours to end, nor is its mount.
    const auto isCurrent = [](const DriveEngine &engine, quint64 ours) { return engine.m_launchGeneration == ours; };

    m_stopRequested = true;
    m_pollTask.cancel();
    tendMountForTheLastTime();
    co_await Shell::runInBackground(Platform::current().systemCommands->unmount(mountPoint()), unmountTimeout);
    if (!self || !isCurrent(*this, generation))
        co_return;
    if (m_process)
        m_process->terminate();
    for (int check = 0; check < stopChecks && m_process; ++check) {
        co_await m_clock.sleep(stopCheckPause, {});
        if (!self || !isCurrent(*this, generation))
            co_return;
    }
    if (m_process && m_process->isRunning())
        m_process->kill();
    for (int check = 0; check < stopChecks && m_process; ++check) {
        co_await m_clock.sleep(killCheckPause, {});
        if (!self || !isCurrent(*this, generation))
            co_return;
    }
    if (isMounted())
        forceUnmount();
    m_rc.reset();
    publish(this, &DriveEngine::statsChanged, [this] { m_stats = {}; });
    setState(restingState());
}

void DriveEngine::clearLeftovers(const QString &binary) {
    const SystemCommands &commands = *Platform::current().systemCommands;
    const EngineIdentity engine{binary, Paths::engineConfig()};
    if (Shell::run(commands.findEngines(engine), processCheckTimeout) == 0) {
        if (isMounted()) {
            // A server that somebody has stopped would stay for ever.
            Platform::current().mountTable->watch(mountPoint())->tend();
            Shell::run(commands.unmount(mountPoint()), unmountTimeout);
        }
        Shell::run(commands.killEngines(engine), processCheckTimeout);
        std::this_thread::sleep_for(500ms);
    }
    if (isMounted())
        forceUnmount();
    const QString home = Paths::homeMountPoint();
    if (mountPoint() != home && !Platform::current().mountTable->isMounted(home))
        QDir().rmdir(home);
}

} // namespace quillmount
