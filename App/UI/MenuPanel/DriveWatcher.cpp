// SPDX-License-Identifier: LicenseRef-Quillmount
#include "App/UI/MenuPanel/DriveWatcher.h"

#include "App/Engine/DriveEngine.h"
#include "App/Support/Preferences.h"
#include "App/Support/Support.h"

#include <utility>

namespace quillmount {

DriveWatcher::DriveWatcher(const DriveEngine &engine, QObject *parent)
    : QObject(parent)
    , m_engine(engine)
    , m_snapshot(read()) {
    readSettings(m_snapshot);
    connect(&engine, &DriveEngine::stateChanged, this, [this] {
        m_hasNewState = true;
        schedule();
    });
    for (const auto signal : {&DriveEngine::statsChanged, &DriveEngine::quotaChanged, &DriveEngine::isOnlineChanged})
        connect(&engine, signal, this, &DriveWatcher::schedule);
}

void DriveWatcher::schedule() {
    if (!std::exchange(m_isScheduled, true))
        QMetaObject::invokeMethod(this, &DriveWatcher::collect, Qt::QueuedConnection);
}

void DriveWatcher::collect() {
    m_isScheduled = false;
    DriveSnapshot now = read();
    if (std::exchange(m_hasNewState, false)) {
        readSettings(now);
    } else {
        now.email = m_snapshot.email;
        now.cacheLimit = m_snapshot.cacheLimit;
        now.supportAddress = m_snapshot.supportAddress;
    }
    if (std::exchange(m_snapshot, now) != now)
        Q_EMIT changed();
}

DriveSnapshot DriveWatcher::read() const {
    DriveSnapshot now;
    now.state = m_engine.state();
    now.stats = m_engine.stats();
    now.isOnline = m_engine.isOnline();
    now.quota = m_engine.quota();
    return now;
}

void DriveWatcher::readSettings(DriveSnapshot &snapshot) const {
    snapshot.email = Preferences::accountEmail().value_or(QString());
    snapshot.cacheLimit = Preferences::cacheSizeBytes();
    snapshot.supportAddress = Support::address();
}

} // namespace quillmount
