// SPDX-License-Identifier: LicenseRef-Quillmount
// What the user asks of the drive. Each wish raises `m_wish`; whoever waited looks at it before going on.
#include "App/Engine/DriveEngine.h"

#include "App/Engine/CacheRemoval.h"
#include "App/Engine/DriveMount.h"
#include "App/Engine/EngineConfig.h"
#include "App/Engine/EngineProcess.h"
#include "App/Support/Paths.h"
#include "App/Support/Preferences.h"
#include "App/Support/VolumeSetup.h"
#include "Platform/Platform.h"

#include <QLoggingCategory>
#include <QPointer>

#include <utility>

namespace quillmount {

using namespace std::chrono_literals;

Q_LOGGING_CATEGORY(engineLog, "quillmount.engine")

namespace {
constexpr int stopPollMilliseconds = 100;
constexpr int stopPolls = 50;
constexpr auto uploadWaitPause = 1s;
constexpr auto busyMountPatience = 5s;
constexpr auto signOutPause = 50ms;
constexpr auto offlineRetryPeriod = 5min;
} // namespace

DriveEngine::DriveEngine(VolumeSetup &volumeSetup, QObject *parent)
    : ObservableObject(parent)
    , m_volumeSetup(volumeSetup)
    , m_clock(*Platform::current().clock)
    , m_mount(new DriveMount(volumeSetup, this)) {
    Paths::ensureDirectories();
    CacheRemoval::finish();
    QObject::connect(m_mount, &DriveMount::lost, this, [this](bool stillListed) { spawn(mountLost(stillListed)); });
    NetworkPath &path = *Platform::current().networkPath;
    // Queued: every update is a task of its own on the main thread.
    QObject::connect(
        &path, &NetworkPath::updated, this,
        [this](bool satisfied) {
            publish(this, &DriveEngine::isOnlineChanged, [&] { m_isOnline = satisfied; });
            if (satisfied && m_state == State::failure(ErrorMapper::Kind::offline))
                retry();
        },
        Qt::QueuedConnection);
    path.start();
    m_state = restingState();
}

DriveEngine::~DriveEngine() {
    m_pollTask.cancel();
    m_restartTask.cancel();
}

QString DriveEngine::mountPoint() const {
    return m_mount->point();
}

bool DriveEngine::isMountPointTaken() const {
    return m_mount->isPointTaken();
}

bool DriveEngine::isMounted() const {
    return m_mount->isMounted();
}

void DriveEngine::setState(State state) {
    const bool rests = state.isFailed() || state == State::stopped || state == State::signedOut;
    if (rests && !m_process)
        clearStats();
    if (state != m_state)
        qCInfo(engineLog, "%ls -> %ls", qUtf16Printable(m_state.name()), qUtf16Printable(state.name()));
    publish(this, &DriveEngine::stateChanged, [&] { m_state = state; });
    if (m_state == State::failure(ErrorMapper::Kind::offline))
        m_restartTask.start([this](std::stop_token stop) { return retryLater(std::move(stop)); });
}

DriveEngine::State DriveEngine::restingState() const {
    return Paths::hasEngineConfig() ? State::stopped : State::signedOut;
}

void DriveEngine::start() {
    if (m_process || m_hasShutDown || m_signOuts > 0)
        return;
    if (m_isSettingUpVolume) {
        m_startWish = m_wish;
        return;
    }
    m_startWish = ++m_wish;
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
    // The user may have ejected or signed out while the offer was open.
    if (m_startWish == m_wish && Paths::hasEngineConfig())
        launch();
    else if (m_state == State::starting && !m_process)
        setState(restingState());
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
    if (m_state.isFailed() && !m_hasShutDown) {
        const quint64 wish = ++m_wish;
        setState(State::stopped);
        if (m_process) {
            // A failed drive can still have its engine; `start` would take it for one that needs nothing.
            setState(State::starting);
            spawn(stopEngineThenStart(wish));
            return;
        }
    }
    start();
}

QCoro::Task<> DriveEngine::stopEngineThenStart(quint64 wish) {
    const QPointer self(this);
    co_await stopEngine();
    if (self && wish == m_wish)
        start();
}

QCoro::Task<> DriveEngine::retryLater(std::stop_token stop) {
    const QPointer self(this);
    const bool slept = co_await m_clock.sleep(offlineRetryPeriod, std::move(stop));
    if (self && slept && m_state.isFailed())
        retry();
}

QCoro::Task<> DriveEngine::connect(QString token, std::optional<QString> email) {
    const QPointer self(this);
    co_await EngineConfig::write(token);
    if (!self)
        co_return;
    const quint64 wish = ++m_wish;
    const quint64 accountWish = ++m_accountWish;
    m_restartTask.cancel();
    if (m_process || m_signOuts > 0) {
        co_await stopEngine();
        while (self && m_signOuts > 0)
            co_await m_clock.sleep(signOutPause, {});
        if (!self || accountWish != m_accountWish)
            co_return;
        // The former engine may have saved its own token in its last moments, or a sign-out removed the file.
        try {
            co_await EngineConfig::write(token);
        } catch (const EngineConfig::ConfigError &error) {
            if (!Paths::hasEngineConfig())
                throw;
            qCWarning(engineLog, "the account could not be saved a second time: %s", error.what());
        }
    }
    Preferences::setAccountEmail(email);
    resetAccountFigures();
    if (m_process || (wish != m_wish && m_state != State::signedOut))
        co_return;
    setState(State::stopped);
    if (wish == m_wish)
        start();
}

QCoro::Task<> DriveEngine::eject(bool force) {
    return carryOutEject(++m_wish, force);
}

QCoro::Task<> DriveEngine::carryOutEject(quint64 wish, bool force) {
    const QPointer self(this);
    // A pending restart would bring the drive back by itself.
    m_restartTask.cancel();
    if (!m_process) {
        setState(restingState());
        co_return;
    }
    setState(State::ejecting);
    m_forceEjectRequested = force;
    if (!force) {
        co_await waitForUploads(wish);
        if (!self || wish != m_wish)
            co_return;
        m_restartTask.cancel();
    }
    co_await stopEngine();
    if (self && wish == m_wish)
        setState(restingState());
}

QCoro::Task<> DriveEngine::waitForUploads(quint64 wish) {
    const QPointer self(this);
    std::optional<Clock::Duration> busySince;
    while (m_process && !m_forceEjectRequested) {
        const bool answered = co_await askCacheFigures();
        if (!self || wish != m_wish)
            co_return;
        if (answered && m_stats.pendingUploads() == 0) {
            if (!isMounted())
                co_return;
            co_await m_mount->release();
            if (!self)
                co_return;
            if (wish != m_wish) {
                // Given up in the meantime: a drive that has just lost its mount has to be mounted again.
                if (m_state == State::live && !isMounted())
                    setState(State::starting);
                co_return;
            }
            // What was open until now may still have to be uploaded, so the engine is asked once more.
            if (!isMounted())
                continue;
            busySince = busySince.value_or(m_clock.uptime());
            if (m_clock.uptime() - *busySince >= busyMountPatience)
                co_return;
        } else {
            busySince.reset();
        }
        co_await m_clock.sleep(uploadWaitPause, {});
        if (!self || wish != m_wish)
            co_return;
    }
}

void DriveEngine::ejectNow() {
    m_forceEjectRequested = true;
}

void DriveEngine::cancelEject() {
    // Once the engine has been told to stop there is nothing left to keep.
    if (m_state != State::ejecting || m_stopRequested)
        return;
    ++m_wish;
    m_forceEjectRequested = false;
    setState(isMounted() ? State::live : State::starting);
}

QCoro::Task<> DriveEngine::signOut() {
    const QPointer self(this);
    const quint64 accountWish = ++m_accountWish;
    ++m_signOuts;
    co_await eject(true);
    if (!self)
        co_return;
    co_await stopEngine();
    if (!self)
        co_return;
    co_await CacheRemoval::begin();
    if (!self || m_signOuts == 0) // the end of the application has done the rest
        co_return;
    --m_signOuts;
    forgetAccount();
    if (accountWish == m_accountWish)
        setState(State::signedOut);
}

void DriveEngine::forgetAccount() {
    Paths::ensureDirectories();
    EngineConfig::remove();
    Preferences::setAccountEmail(std::nullopt);
    resetAccountFigures();
}

void DriveEngine::resetAccountFigures() {
    m_lastQuotaFetch.reset();
    publish(this, &DriveEngine::quotaChanged, [this] { m_quota.reset(); });
    publish(this, &DriveEngine::driveFolderURLChanged, [this] { m_driveFolderURL.reset(); });
}

void DriveEngine::clearStats() {
    if (m_stats != Stats())
        publish(this, &DriveEngine::statsChanged, [this] { m_stats = {}; });
}

void DriveEngine::shutdownNow() {
    if (std::exchange(m_hasShutDown, true))
        return;
    ++m_wish;
    m_stopRequested = true;
    m_pollTask.cancel();
    m_restartTask.cancel();
    if (m_process || isMounted())
        m_mount->removeNow();
    if (m_process) {
        m_process->terminate();
        // Counted, because the clock stands still for whoever blocks its thread.
        bool ended = m_process->waitForEnd(0);
        for (int poll = 0; poll < stopPolls && !ended; ++poll)
            ended = m_process->waitForEnd(stopPollMilliseconds);
        if (!ended) {
            m_process->kill();
            m_process->waitForEnd(stopPollMilliseconds);
        }
    }
    if (isMounted())
        m_mount->force();
    clearStats();
    if (std::exchange(m_signOuts, 0) > 0) {
        spawn(CacheRemoval::begin());
        forgetAccount();
    }
}

QCoro::Task<> DriveEngine::setUpFinderLocation() {
    const QPointer self(this);
    const bool isSetUp = m_volumeSetup.isInstalled() && m_volumeSetup.resolvesLocally();
    if (isSetUp || !m_volumeSetup.isAvailable())
        co_return;
    const quint64 wish = ++m_wish;
    if (m_process) {
        co_await carryOutEject(wish, true);
        if (!self)
            co_return;
    }
    const bool completed = co_await runVolumeSetup();
    if (!self)
        co_return;
    Preferences::setVolumeSetupDeclined(!completed);
    if (wish == m_wish && Paths::hasEngineConfig())
        start();
}

} // namespace quillmount
