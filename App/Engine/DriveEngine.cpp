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
constexpr auto uploadWaitPause = 1s;
constexpr auto busyMountTimeout = 5s;
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
    QObject::connect(m_mount, &DriveMount::filesSetAside, this, &DriveEngine::filesSetAside);
    QObject::connect(m_mount, &DriveMount::pointTaken, this, &DriveEngine::mountPointTaken);
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
    handle(Event::created);
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

std::optional<DriveEngine::State> DriveEngine::handle(Event event, ErrorMapper::Kind kind) {
    DriveTransition::Circumstances now = circumstances();
    now.kind = kind;
    const std::optional<State> next = DriveTransition::next(m_state, event, now);
    if (!next)
        return std::nullopt;
    const bool rests = next->isFailed() || next == State::stopped || next == State::signedOut;
    if (rests && !m_process)
        clearStats();
    if (next != m_state)
        qCInfo(engineLog, "%ls -> %ls", qUtf16Printable(m_state.name()), qUtf16Printable(next->name()));
    publish(this, &DriveEngine::stateChanged, [&] { m_state = *next; });
    if (next == State::failure(ErrorMapper::Kind::offline))
        m_restartTask.start([this](std::stop_token stop) { return retryLater(std::move(stop)); });
    return next;
}

DriveTransition::Circumstances DriveEngine::circumstances() const {
    return {.hasAccount = Paths::hasEngineConfig(),
            .hasEngine = m_process != nullptr,
            .isSettingUpVolume = m_isSettingUp,
            .isMounted = isMounted(),
            .stopRequested = m_stopRequested,
            .hasShutDown = m_hasShutDown,
            .restartAttempt = m_restartAttempts + 1};
}

void DriveEngine::start() {
    if (m_process || m_hasShutDown || !m_mayStart || m_signOuts > 0)
        return;
    if (m_isSettingUp) {
        m_startWish = m_wish;
        return;
    }
    m_startWish = ++m_wish;
    if (!Paths::hasEngineConfig()) {
        handle(Event::start);
        return;
    }
    const bool mayOffer = m_volumeSetup.isAvailable() && m_volumeSetup.offersAtStart();
    if (!mayOffer || Preferences::volumeSetupDeclined()) {
        launch();
        return;
    }
    handle(Event::volumeSetupOffered);
    setSettingUp(true);
    spawn(launchAfterVolumeSetup());
}

QCoro::Task<> DriveEngine::launchAfterVolumeSetup() {
    const QPointer self(this);
    const bool isComplete = co_await m_volumeSetup.resolvesLocally();
    if (!self)
        co_return;
    if (!isComplete) {
        co_await runVolumeSetup();
        if (!self)
            co_return;
    }
    setSettingUp(false);
    launchIfWished();
}

void DriveEngine::launchIfWished() {
    // The user may have ejected or signed out while the set-up was under way.
    if (m_startWish == m_wish && m_mayStart && Paths::hasEngineConfig())
        launch();
    else
        handle(Event::startWithdrawn);
}

QCoro::Task<VolumeSetup::Outcome> DriveEngine::runVolumeSetup() {
    const QPointer self(this);
    auto outcome = VolumeSetup::Outcome::failed;
    try {
        outcome = co_await m_volumeSetup.run();
    } catch (const std::exception &error) {
        qCWarning(engineLog, "the location of the drive could not be set up: %s", error.what());
    }
    // Whoever could not be asked has declined nothing; nor has he whom the end of the application cut off.
    if (self && outcome != VolumeSetup::Outcome::notAsked && !m_hasShutDown)
        Preferences::setVolumeSetupDeclined(outcome != VolumeSetup::Outcome::completed);
    co_return outcome;
}

void DriveEngine::setSettingUp(bool settingUp) {
    publish(this, &DriveEngine::isSettingUpChanged, [&] { m_isSettingUp = settingUp; });
}

void DriveEngine::retry() {
    if (!m_mayStart)
        return;
    m_restartAttempts = 0;
    m_restartTask.cancel();
    if (m_state.isFailed() && !m_hasShutDown) {
        const quint64 wish = ++m_wish;
        handle(Event::retry);
        // A failed drive can still have its engine; `start` would take it for one that needs nothing.
        if (handle(Event::formerEngineRuns)) {
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
    if (!m_mayStart)
        throw EngineConfig::ConfigError(EngineConfig::ConfigError::writeFailed);
    co_await EngineConfig::write(token);
    if (!self)
        co_return;
    const quint64 wish = ++m_wish;
    const quint64 accountWish = ++m_accountWish;
    m_restartTask.cancel();
    if (m_process || m_signOuts > 0) {
        co_await stopEngine();
        while (self && m_signOuts > 0) {
            co_await m_clock.sleep(signOutPause, {});
        }
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
    handle(Event::connected);
    if (wish == m_wish)
        start();
}

QCoro::Task<> DriveEngine::eject(bool force) {
    if (m_state == State::ejecting && m_ejectWish == m_wish)
        return joinEject(m_wish, force);
    m_ejectWish = ++m_wish;
    return carryOutEject(m_wish, force);
}

QCoro::Task<> DriveEngine::joinEject(quint64 wish, bool force) {
    const QPointer self(this);
    m_forceEjectRequested = m_forceEjectRequested || force;
    while (self && wish == m_wish && m_process) {
        co_await m_clock.sleep(uploadWaitPause, {});
    }
}

QCoro::Task<> DriveEngine::carryOutEject(quint64 wish, bool force) {
    const QPointer self(this);
    // A pending restart would bring the drive back by itself.
    m_restartTask.cancel();
    if (handle(Event::eject) != State(State::ejecting))
        co_return;
    m_forceEjectRequested = force;
    if (!force) {
        co_await waitForUploads(wish);
        if (!self || wish != m_wish)
            co_return;
        m_restartTask.cancel();
    }
    co_await stopEngine();
    if (self && wish == m_wish)
        handle(Event::detached);
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
                // Given up in the meantime: a drive that has just lost its mount has to be remounted.
                handle(Event::unmountedAfterAll);
                co_return;
            }
            // What was open until now may still have to be uploaded, so the engine is asked once more.
            if (!isMounted())
                continue;
            busySince = busySince.value_or(m_clock.uptime());
            if (m_clock.uptime() - *busySince >= busyMountTimeout)
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
    handle(Event::cancelEject);
}

QCoro::Task<> DriveEngine::signOut() {
    const QPointer self(this);
    const quint64 accountWish = ++m_accountWish;
    ++m_signOuts;
    co_await eject(true);
    if (!self)
        co_return;
    co_await endEngines();
    if (!self)
        co_return;
    co_await CacheRemoval::begin();
    if (!self || m_signOuts == 0) // the end of the application has done the rest
        co_return;
    --m_signOuts;
    forgetAccount();
    if (accountWish == m_accountWish)
        handle(Event::signedOut);
}

void DriveEngine::forbidStarts() {
    m_mayStart = false;
    m_restartTask.cancel();
}

void DriveEngine::allowStarts() {
    m_mayStart = true;
}

QCoro::Task<> DriveEngine::endEverything() {
    const QPointer self(this);
    co_await eject(true);
    // A sign-out puts the folders of the application back.
    while (self && m_signOuts > 0) {
        co_await m_clock.sleep(signOutPause, {});
    }
    if (self) {
        co_await endEngines();
    }
}

QStringList DriveEngine::mountedPoints() const {
    return m_mount->mountedPoints();
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
    if (m_isSettingUp)
        m_volumeSetup.cancel();
    if (m_process || isMounted())
        m_mount->removeNow();
    if (m_process)
        m_process->endNow();
    if (isMounted())
        m_mount->force();
    clearStats();
    if (std::exchange(m_signOuts, 0) > 0) {
        spawn(CacheRemoval::begin());
        forgetAccount();
    }
}

QCoro::Task<VolumeSetup::Outcome> DriveEngine::setUpFinderLocation() {
    const QPointer self(this);
    if (!m_volumeSetup.isAvailable() || m_hasShutDown || !m_mayStart)
        co_return VolumeSetup::Outcome::notAsked;
    if (m_isSettingUp)
        co_return VolumeSetup::Outcome::failed;
    setSettingUp(true);
    auto outcome = VolumeSetup::Outcome::completed;
    const quint64 formerStart = std::exchange(m_startWish, 0);
    const bool isComplete = co_await m_volumeSetup.resolvesLocally();
    if (!self)
        co_return outcome;
    if (isComplete) {
        setSettingUp(false);
        if (m_startWish == 0)
            m_startWish = formerStart;
        else
            launchIfWished(); // somebody wanted to start while it was being looked up
        co_return outcome;
    }
    const quint64 wish = m_startWish = ++m_wish;
    if (m_process) {
        co_await carryOutEject(wish, true);
        if (!self)
            co_return outcome;
    }
    outcome = co_await runVolumeSetup();
    if (!self)
        co_return outcome;
    setSettingUp(false);
    launchIfWished();
    co_return outcome;
}

} // namespace quillmount
