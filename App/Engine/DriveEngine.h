// SPDX-License-Identifier: LicenseRef-Quillmount
#pragma once

#include "App/Concurrency/ObservableObject.h"
#include "App/Concurrency/Task.h"
#include "App/Engine/DriveState.h"
#include "App/Engine/RemoteControl.h"
#include "Platform/Clock.h"

#include <QUrl>

#include <memory>
#include <optional>

namespace quillmount {

class EngineProcess;
class MountWatch;
class VolumeSetup;

// The one object that owns the drive: the engine process, its mount, the polling of it, its restarts. All of it runs on
// the main thread. A member coroutine looks at its QPointer after every suspension: the object may be gone.
class DriveEngine : public ObservableObject {
    Q_OBJECT

public:
    using State = DriveState;
    using Stats = DriveStats;
    using Quota = DriveQuota;
    using Transfer = DriveTransfer;

    // Prepares the directories and decides the first state; starts nothing. `volumeSetup` outlives this object.
    explicit DriveEngine(VolumeSetup &volumeSetup, QObject *parent = nullptr);
    // Ends neither engine nor mount: `shutdownNow` does.
    ~DriveEngine() override;
    Q_DISABLE_COPY_MOVE(DriveEngine)

    [[nodiscard]] State state() const { return m_state; }
    [[nodiscard]] const Stats &stats() const { return m_stats; }
    // The storage figures; absent until Google has told them.
    [[nodiscard]] const std::optional<Quota> &quota() const { return m_quota; }
    // Whether the system reports a usable network path. For display only.
    [[nodiscard]] bool isOnline() const { return m_isOnline; }
    // The web address of the drive's folder; absent until it is known.
    [[nodiscard]] const std::optional<QUrl> &driveFolderURL() const { return m_driveFolderURL; }

    [[nodiscard]] QString mountPoint() const;
    [[nodiscard]] bool isMounted() const;

    // Starts the drive of the connected account. Does nothing while an engine runs.
    void start();
    // The person's "try again": forgets earlier restarts and starts anew.
    void retry();
    // Takes a new account (`token`: one line of JSON; `email`: absent when not known) and starts its drive.
    // Throws EngineConfig::ConfigError; then nothing else has changed.
    [[nodiscard]] QCoro::Task<> connect(QString token, std::optional<QString> email);
    // Takes the drive away: after the uploads, without a time limit, or at once with `force`. What is not uploaded
    // stays in the cache. Resolves when the drive is gone or `cancelEject` was called.
    [[nodiscard]] QCoro::Task<> eject(bool force);
    // An eject that waits for uploads stops waiting.
    void ejectNow();
    // An eject that waits for uploads is given up; the drive stays. No effect once it no longer waits.
    void cancelEject();
    // Ejects at once and forgets the account, the cache and what was not uploaded.
    [[nodiscard]] QCoro::Task<> signOut();
    // At the end of the application: unmounts and stops the engine. Blocks, at most for about 17 seconds.
    void shutdownNow();
    // Makes the drive a location of the file manager, ejecting and starting it again around that.
    [[nodiscard]] QCoro::Task<> setUpFinderLocation();
    // One round of questions to the engine. Answers that do not come leave their figures as they are.
    [[nodiscard]] QCoro::Task<> refresh();

Q_SIGNALS:
    void stateChanged();
    void statsChanged();
    void quotaChanged();
    void isOnlineChanged();
    void driveFolderURLChanged();
    // Files were found in the bare mount point and moved to `path`.
    void filesSetAside(const QString &path);

private:
    void setState(State state);
    [[nodiscard]] State restingState() const;

    void launch();
    [[nodiscard]] QCoro::Task<> launchAfterVolumeSetup();
    [[nodiscard]] QCoro::Task<bool> runVolumeSetup();
    void engineExited(quint64 generation);
    void restartAfter(Clock::Duration delay);
    [[nodiscard]] QCoro::Task<> detach();
    [[nodiscard]] QCoro::Task<> detachThenStart();
    // Detaches until no engine runs.
    [[nodiscard]] QCoro::Task<> endEngine();

    [[nodiscard]] QCoro::Task<> waitForMountThenPoll(quint16 nfsPort, std::stop_token stop);
    [[nodiscard]] QCoro::Task<bool> waitForMount(quint16 nfsPort, std::stop_token stop);
    [[nodiscard]] QCoro::Task<> poll(std::stop_token stop);
    [[nodiscard]] static QCoro::Task<int> attach(quint16 port, QString host, QString mountPoint);
    [[nodiscard]] QString serverName() const;
    void watchMount();
    void stopWatchingMount();
    void tendMountForTheLastTime();
    [[nodiscard]] QCoro::Task<> mountLost(bool stillListed);
    void forceUnmount();
    void clearLeftovers(const QString &binary);

    void readCacheFigures(const QJsonObject &vfsStats);
    void readTransfers(const QJsonObject &coreStats);
    [[nodiscard]] QCoro::Task<> refreshQuota(RemoteControl rc);
    [[nodiscard]] QCoro::Task<> refreshFolderURL(RemoteControl rc);

    VolumeSetup &m_volumeSetup;
    Clock &m_clock;

    State m_state = State::stopped;
    Stats m_stats;
    std::optional<Quota> m_quota;
    bool m_isOnline = true;
    std::optional<QUrl> m_driveFolderURL;

    EngineProcess *m_process = nullptr;
    std::optional<RemoteControl> m_rc;
    quint16 m_nfsPort = 0;
    TaskHandle m_pollTask;
    TaskHandle m_restartTask;
    std::unique_ptr<MountWatch> m_mountWatch;
    qint64 m_restartAttempts = 0; // automatic restarts since the last `retry`
    bool m_stopRequested = false; // the engine's exit was asked for
    bool m_forceEjectRequested = false;
    bool m_isSettingUpVolume = false;
    std::optional<Clock::Duration> m_lastQuotaFetch; // uptime; absent until the first time
    quint64 m_launchGeneration = 0;                  // which run of the engine something belongs to
    quint64 m_ejectGeneration = 0;                   // tells a cancelled waiting eject from a later one
};

} // namespace quillmount
