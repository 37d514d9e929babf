// SPDX-License-Identifier: LicenseRef-Quillmount
#include "App/UI/Settings/CacheRelaunch.h"

#include "App/Engine/DriveEngine.h"
#include "App/Support/Preferences.h"
#include "Platform/Platform.h"

#include <QPointer>

#include <utility>

namespace quillmount {

using namespace std::chrono_literals;

namespace {
// The arrow keys choose every size on their way.
constexpr Clock::Duration settleTime = 1s;
} // namespace

CacheRelaunch::CacheRelaunch(DriveEngine &engine, QObject *parent)
    : QObject(parent)
    , m_engine(engine)
    , m_launchedBytes(Preferences::cacheSizeBytes()) {
    // Before it reads the size, and in the same call, a launch comes to this state.
    connect(&engine, &DriveEngine::stateChanged, this, [this] {
        if (m_engine.state() == DriveState::starting)
            m_launchedBytes = Preferences::cacheSizeBytes();
    });
    connect(&engine, &DriveEngine::stateChanged, this, &CacheRelaunch::consider, Qt::QueuedConnection);
    connect(&engine, &DriveEngine::isSettingUpChanged, this, &CacheRelaunch::consider, Qt::QueuedConnection);
}

CacheRelaunch::~CacheRelaunch() {
    Platform::current().clock->cancel(m_timer);
}

void CacheRelaunch::sizeChosen() {
    m_isWanted = true;
    Clock &clock = *Platform::current().clock;
    clock.cancel(m_timer);
    m_timer = clock.schedule(settleTime, [this] {
        m_timer = 0;
        consider();
    });
}

void CacheRelaunch::consider() {
    if (!m_isWanted || m_isRunning || m_timer != 0)
        return;
    const DriveState state = m_engine.state();
    if (state == DriveState::ejecting || m_engine.isSettingUp())
        return;
    m_isWanted = false;
    const bool hasEngine = state == DriveState::live || state == DriveState::starting;
    if (hasEngine && m_launchedBytes != Preferences::cacheSizeBytes())
        spawn(relaunch());
}

QCoro::Task<> CacheRelaunch::relaunch() {
    const QPointer self(this);
    m_isRunning = true;
    co_await m_engine.eject(true);
    if (!self)
        co_return;
    m_isRunning = false;
    // Whoever has forgotten the account meanwhile wants no drive.
    if (m_engine.state() == DriveState::stopped)
        m_engine.start();
    consider();
}

} // namespace quillmount
