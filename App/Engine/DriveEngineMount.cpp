// SPDX-License-Identifier: LicenseRef-Quillmount
// From an engine that runs to a drive that is mounted and polled, and back when the mount is lost.
#include "App/Engine/DriveEngine.h"
#include "App/Engine/DriveMount.h"
#include "App/Engine/EngineProcess.h"
#include "Platform/Platform.h"

#include <QLoggingCategory>
#include <QPointer>

namespace quillmount {

using namespace std::chrono_literals;

Q_DECLARE_LOGGING_CATEGORY(engineLog)

namespace {
constexpr auto mountDeadline = 45s;
constexpr auto mountPause = 500ms;
constexpr auto pollPause = 2s;
constexpr auto exitGrace = 1s;
} // namespace

QCoro::Task<> DriveEngine::mountThenPoll(Clock::Duration delay, std::stop_token stop) {
    const QPointer self(this);
    if (delay > Clock::Duration::zero()) {
        co_await m_clock.sleep(delay, stop);
    }
    while (self && !stop.stop_requested() && m_process) {
        const bool mounted = co_await waitForMount(stop);
        if (!self || stop.stop_requested() || !m_process)
            co_return;
        if (!mounted) {
            handle(Event::mountDeadline, ErrorMapper::classify(ErrorMapper::lastLogError()));
            co_await endIdleEngine(stop);
            co_return;
        }
        co_await poll(stop);
    }
}

QCoro::Task<> DriveEngine::poll(std::stop_token stop) {
    const QPointer self(this);
    // An eject that is cancelled after the mount has gone leaves the drive starting: it has to be remounted.
    while (self && !stop.stop_requested() && m_process && m_state != State::starting) {
        m_mount->tend();
        co_await refresh();
        if (!self)
            co_return;
        co_await m_clock.sleep(pollPause, stop);
    }
}

// False when the drive is still starting after the deadline.
QCoro::Task<bool> DriveEngine::waitForMount(std::stop_token stop) {
    const QPointer self(this);
    const auto deadline = m_clock.uptime() + mountDeadline;
    bool mountSucceeded = m_mount->isAttached();
    // An eject that began meanwhile wants no mount.
    while (!stop.stop_requested() && m_process && m_state == State::starting) {
        if (m_clock.uptime() >= deadline)
            co_return false;
        bool answers = false;
        if (m_rc) {
            answers = co_await m_rc->answers();
        }
        if (!self || stop.stop_requested())
            co_return false;
        if (answers && !mountSucceeded && m_state == State::starting) {
            mountSucceeded = co_await m_mount->attach(m_nfsPort);
            if (!self || stop.stop_requested())
                co_return false;
        }
        if (answers && mountSucceeded) {
            // A drive that is live is taken to have uploaded what it does not tell of.
            co_await askCacheFigures();
            if (!self || stop.stop_requested())
                co_return false;
        }
        if (answers && mountSucceeded && isMounted() && m_process && m_state == State::starting) {
            m_mount->watch();
            handle(Event::mounted);
            co_return true;
        }
        co_await m_clock.sleep(mountPause, stop);
        if (!self)
            co_return false;
    }
    co_return true;
}

// An engine without a mount is of no use unless it uploads what was saved before.
QCoro::Task<> DriveEngine::endIdleEngine(std::stop_token stop) {
    const QPointer self(this);
    // One that does not answer now has not done so for as long as a start may take; later that tells nothing.
    bool uploads = co_await askCacheFigures();
    while (self && !stop.stop_requested() && m_process) {
        uploads = uploads && m_stats.pendingUploads() > 0;
        if (!uploads) {
            m_process->terminate();
            co_return;
        }
        co_await m_clock.sleep(pollPause, stop);
        if (!self || stop.stop_requested())
            co_return;
        co_await askCacheFigures();
    }
}

QCoro::Task<> DriveEngine::mountLost(bool stillListed) {
    const QPointer self(this);
    const quint64 run = m_run;
    m_mount->stopWatching();
    // The mount also goes when the engine ends; then the exit of the engine decides, which is noticed only later.
    bool engineAnswers = false;
    if (m_rc) {
        engineAnswers = co_await m_rc->answers();
    }
    if (!self)
        co_return;
    if (!engineAnswers) {
        co_await m_clock.sleep(exitGrace, {});
        if (!self)
            co_return;
    }
    if (run != m_run || !m_process || m_stopRequested)
        co_return;
    const bool isWanted = m_state == State::live || m_state == State::starting;
    if (!stillListed && engineAnswers) {
        qCInfo(engineLog, "the drive was unmounted from outside");
        if (isWanted) {
            co_await eject(false);
        }
        co_return;
    }
    qCWarning(engineLog, "the process that serves the mount is gone");
    if (isMounted())
        m_mount->force();
    if (!isWanted)
        co_return;
    m_pollTask.cancel();
    restartOrFail(Event::mountServerGone, ErrorMapper::classify(ErrorMapper::lastLogError()));
    if (m_state.isFailed())
        m_pollTask.start([this](std::stop_token stop) { return endIdleEngine(std::move(stop)); });
}

} // namespace quillmount
