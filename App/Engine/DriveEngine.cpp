// SPDX-License-Identifier: LicenseRef-Quillmount
#include "App/Engine/DriveEngine.h"

#include "App/Engine/EngineConfig.h"
#include "App/Engine/EngineProcess.h"
#include "App/Engine/Shell.h"
#include "App/Support/Paths.h"
#include "App/Support/Preferences.h"
#include "App/Support/VolumeSetup.h"
#include "Platform/Platform.h"

#include <QDir>
#include <QLoggingCategory>
#include <QPointer>

namespace quillmount {

using namespace std::chrono_literals;

Q_LOGGING_CATEGORY(engineLog, "quillmount.engine")

namespace {
constexpr double unmountTimeout = 6;
constexpr int stopPollMilliseconds = 100;
constexpr int stopPolls = 50;
constexpr auto uploadWaitPause = 1s;
} // namespace

DriveEngine::DriveEngine(VolumeSetup &volumeSetup, QObject *parent)
    : ObservableObject(parent)
    , m_volumeSetup(volumeSetup)
    , m_clock(*Platform::current().clock) {
    Paths::ensureDirectories();
    NetworkPath &path = *Platform::current().networkPath;
    // Queued: every update is a task of its own on the main thread.
    QObject::connect(
        &path, &NetworkPath::updated, this,
        [this](bool satisfied) { publish(this, &DriveEngine::isOnlineChanged, [&] { m_isOnline = satisfied; }); },
        Qt::QueuedConnection);
    path.start();
    m_state = restingState();
}

DriveEngine::~DriveEngine() {
    m_pollTask.cancel();
    m_restartTask.cancel();
}

QString DriveEngine::mountPoint() const {
    return m_volumeSetup.isInstalled() ? QStringLiteral("/Volumes/Quillmount") : Paths::homeMountPoint();
}

bool DriveEngine::isMounted() const {
    return Platform::current().mountTable->isMounted(mountPoint());
}

void DriveEngine::setState(State state) {
    if (state != m_state)
        qCInfo(engineLog, "%ls -> %ls", qUtf16Printable(m_state.name()), qUtf16Printable(state.name()));
    publish(this, &DriveEngine::stateChanged, [&] { m_state = state; });
}

DriveEngine::State DriveEngine::restingState() const {
    return Paths::hasEngineConfig() ? State::stopped : State::signedOut;
}

void DriveEngine::start() {
    if (m_process || m_isSettingUpVolume)
        return;
    // An eject that still waits belongs to an engine that is gone.
    ++m_ejectGeneration;
    if (!Paths::hasEngineConfig()) {
        setState(State::signedOut);
        return;
    }
    const bool isSetUp = m_volumeSetup.isInstalled() && m_volumeSetup.resolvesLocally();
    if (isSetUp || Preferences::volumeSetupDeclined() || !m_volumeSetup.isAvailable()) {
        launch();
        return;
    }
    setState(State::starting);
    m_isSettingUpVolume = true;
    spawn(launchAfterVolumeSetup());
}

QCoro::Task<> DriveEngine::launchAfterVolumeSetup() {
    const QPointer self(this);
    const bool completed = co_await runVolumeSetup();
    if (!self)
        co_return;
    if (!completed)
        Preferences::setVolumeSetupDeclined(true);
    m_isSettingUpVolume = false;
    // The person may have signed out while the offer was open.
    if (Paths::hasEngineConfig())
        launch();
    else
        setState(State::signedOut);
}

QCoro::Task<bool> DriveEngine::runVolumeSetup() {
    try {
        co_return co_await m_volumeSetup.run();
    } catch (const std::exception &error) {
        qCWarning(engineLog, "the location of the drive could not be set up: %s", error.what());
    }
    co_return false;
}

void DriveEngine::retry() {
    m_restartAttempts = 0;
    m_restartTask.cancel();
    if (m_process && m_state.isFailed()) {
        // A failed drive can still have its engine; `start` would take it for one that needs nothing.
        spawn(detachThenStart());
        return;
    }
    if (m_state.isFailed())
        setState(State::stopped);
    start();
}

QCoro::Task<> DriveEngine::detachThenStart() {
    const QPointer self(this);
    co_await detach();
    if (self)
        start();
}

QCoro::Task<> DriveEngine::endEngine() {
    const QPointer self(this);
    quint64 generation = 0;
    do {
        generation = m_launchGeneration;
        co_await detach();
        // Somebody else may have started another one meanwhile.
    } while (self && m_process && generation != m_launchGeneration);
}

QCoro::Task<> DriveEngine::connect(QString token, std::optional<QString> email) {
    const QPointer self(this);
    co_await EngineConfig::write(token);
    if (!self)
        co_return;
    m_restartTask.cancel();
    if (m_process) {
        co_await endEngine();
        if (!self)
            co_return;
        // The former engine may have saved its own token in its last moments.
        co_await EngineConfig::write(token);
        if (!self)
            co_return;
    }
    Preferences::setAccountEmail(email);
    setState(State::stopped);
    start();
}

QCoro::Task<> DriveEngine::eject(bool force) {
    const QPointer self(this);
    // A pending restart would bring the drive back by itself.
    m_restartTask.cancel();
    if (!m_process) {
        setState(restingState());
        co_return;
    }
    const quint64 generation = m_ejectGeneration;
    setState(State::ejecting);
    m_forceEjectRequested = force;
    while (!force && m_rc) {
        co_await refresh();
        if (!self || generation != m_ejectGeneration)
            co_return;
        if (m_stats.pendingUploads() == 0)
            break;
        co_await m_clock.sleep(uploadWaitPause, {});
        if (!self || generation != m_ejectGeneration)
            co_return;
        if (m_forceEjectRequested)
            break;
    }
    m_restartTask.cancel();
    co_await detach();
}

void DriveEngine::ejectNow() {
    m_forceEjectRequested = true;
}

void DriveEngine::cancelEject() {
    // Once the engine has been told to stop there is nothing left to keep.
    if (m_state != State::ejecting || m_stopRequested)
        return;
    ++m_ejectGeneration;
    m_forceEjectRequested = false;
    setState(isMounted() ? State::live : State::starting);
}

QCoro::Task<> DriveEngine::signOut() {
    const QPointer self(this);
    co_await eject(true);
    if (self && m_process)
        co_await endEngine();
    if (!self)
        co_return;
    QDir(Paths::cacheDirectory()).removeRecursively();
    Paths::ensureDirectories();
    EngineConfig::remove();
    Preferences::setAccountEmail(std::nullopt);
    publish(this, &DriveEngine::quotaChanged, [this] { m_quota.reset(); });
    publish(this, &DriveEngine::driveFolderURLChanged, [this] { m_driveFolderURL.reset(); });
    setState(State::signedOut);
}

void DriveEngine::shutdownNow() {
    m_stopRequested = true;
    m_pollTask.cancel();
    m_restartTask.cancel();
    tendMountForTheLastTime();
    if (!m_process)
        return;
    Shell::run(Platform::current().systemCommands->unmount(mountPoint()), unmountTimeout);
    m_process->terminate();
    // Counted, because the clock stands still for whoever blocks its thread.
    bool ended = m_process->waitForEnd(0);
    for (int poll = 0; poll < stopPolls && !ended; ++poll)
        ended = m_process->waitForEnd(stopPollMilliseconds);
    if (!ended) {
        m_process->kill();
        m_process->waitForEnd(stopPollMilliseconds);
    }
    if (isMounted())
        forceUnmount();
}

QCoro::Task<> DriveEngine::setUpFinderLocation() {
    const QPointer self(this);
    const bool isSetUp = m_volumeSetup.isInstalled() && m_volumeSetup.resolvesLocally();
    if (isSetUp || !m_volumeSetup.isAvailable())
        co_return;
    if (m_process) {
        co_await eject(true);
        if (!self)
            co_return;
    }
    const bool completed = co_await runVolumeSetup();
    if (!self)
        co_return;
    Preferences::setVolumeSetupDeclined(!completed);
    if (!m_process && Paths::hasEngineConfig())
        start();
}

} // namespace quillmount
