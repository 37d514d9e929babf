// SPDX-License-Identifier: LicenseRef-Quillmount
// The mount of the drive: made, watched, lost and removed.
#include "App/Engine/DriveEngine.h"
#include "App/Engine/EngineProcess.h"
#include "App/Engine/Shell.h"
#include "App/Support/VolumeSetup.h"
#include "Platform/Platform.h"

#include <QLoggingCategory>
#include <QPointer>

namespace quillmount {

using namespace std::chrono_literals;
using namespace Qt::StringLiterals;

Q_DECLARE_LOGGING_CATEGORY(engineLog)

namespace {
constexpr auto mountDeadline = 45s;
constexpr auto mountPause = 500ms;
constexpr auto pollPause = 2s;
constexpr double mountTimeout = 20;
constexpr double unmountTimeout = 6;
constexpr auto exitGrace = 1s;
} // namespace

QCoro::Task<> DriveEngine::waitForMountThenPoll(quint16 nfsPort, std::stop_token stop) {
    const QPointer self(this);
    while (self && !stop.stop_requested() && m_process) {
        const bool mounted = co_await waitForMount(nfsPort, stop);
        if (!self || stop.stop_requested() || !m_process)
            co_return;
        if (!mounted) {
            ErrorMapper::Kind kind = ErrorMapper::classify(ErrorMapper::lastLogError());
            if (kind == ErrorMapper::Kind::unknown)
                kind = ErrorMapper::Kind::mountRefused;
            m_process->terminate();
            setState(State::failure(kind));
            co_return;
        }
        co_await poll(stop);
    }
}

QCoro::Task<> DriveEngine::poll(std::stop_token stop) {
    const QPointer self(this);
    // An eject that is cancelled after the mount has gone leaves the drive starting: it has to be mounted again.
    while (self && !stop.stop_requested() && m_process && m_state != State::starting) {
        if (m_mountWatch)
            m_mountWatch->tend();
        co_await refresh();
        if (!self)
            co_return;
        co_await m_clock.sleep(pollPause, stop);
    }
}

QCoro::Task<bool> DriveEngine::waitForMount(quint16 nfsPort, std::stop_token stop) {
    const QPointer self(this);
    const auto deadline = m_clock.uptime() + mountDeadline;
    bool mountSucceeded = false;
    while (!stop.stop_requested() && m_clock.uptime() < deadline && m_process) {
        bool answers = false;
        if (m_rc)
            answers = co_await m_rc->answers();
        if (!self || stop.stop_requested())
            co_return false;
        if (answers && !mountSucceeded) {
            const int status = co_await attach(nfsPort, serverName(), mountPoint());
            mountSucceeded = status == 0;
            if (!self || stop.stop_requested())
                co_return false;
        }
        if (answers && mountSucceeded && isMounted()) {
            watchMount();
            // An eject that began meanwhile keeps its state.
            if (m_state == State::starting)
                setState(State::live);
            co_return true;
        }
        co_await m_clock.sleep(mountPause, stop);
        if (!self)
            co_return false;
    }
    co_return false;
}

QCoro::Task<int> DriveEngine::attach(quint16 port, QString host, QString mountPoint) {
    return Shell::runInBackground(Platform::current().systemCommands->mount(port, host, mountPoint), mountTimeout);
}

QString DriveEngine::serverName() const {
    return m_volumeSetup.resolvesLocally() ? u"Quillmount"_s : u"quillmount.localhost"_s;
}

void DriveEngine::watchMount() {
    m_mountWatch = Platform::current().mountTable->watch(mountPoint());
    QObject::connect(m_mountWatch.get(), &MountWatch::unmounted, this, [this] { spawn(mountLost(false)); });
    QObject::connect(m_mountWatch.get(), &MountWatch::serverGone, this, [this] { spawn(mountLost(true)); });
}

void DriveEngine::stopWatchingMount() {
    if (!m_mountWatch)
        return;
    // It may be the one whose signal led here.
    m_mountWatch->disconnect(this);
    m_mountWatch.release()->deleteLater();
}

void DriveEngine::tendMountForTheLastTime() {
    // A server that somebody has stopped would not notice that its mount is removed, and stay for ever.
    if (m_mountWatch)
        m_mountWatch->tend();
    stopWatchingMount();
}

QCoro::Task<> DriveEngine::mountLost(bool stillListed) {
    const QPointer self(this);
    const quint64 generation = m_launchGeneration;
    stopWatchingMount();
    // The mount also goes when the engine ends; then the exit of the engine decides, which is noticed only later.
    bool engineAnswers = false;
    if (m_rc)
        engineAnswers = co_await m_rc->answers();
    if (!self)
        co_return;
    if (!engineAnswers) {
        co_await m_clock.sleep(exitGrace, {});
        if (!self)
            co_return;
    }
    if (generation != m_launchGeneration || !m_process || m_stopRequested)
        co_return;
    if (!stillListed && engineAnswers) {
        qCInfo(engineLog, "the drive was unmounted from outside");
        if (m_state != State::ejecting)
            co_await eject(false);
        co_return;
    }
    qCWarning(engineLog, "the process that serves the mount is gone; mounting again");
    m_pollTask.cancel();
    if (isMounted())
        forceUnmount();
    if (m_state == State::live)
        setState(State::starting);
    m_pollTask.start([this](std::stop_token stop) { return waitForMountThenPoll(m_nfsPort, std::move(stop)); });
}

void DriveEngine::forceUnmount() {
    for (const Command &command : Platform::current().systemCommands->forcedUnmount(mountPoint()))
        Shell::run(command, unmountTimeout);
}

} // namespace quillmount
