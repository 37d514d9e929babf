// SPDX-License-Identifier: LicenseRef-Quillmount
#pragma once

#include "App/Concurrency/ObservableObject.h"
#include "App/Concurrency/Task.h"
#include "App/Engine/DriveTransition.h"
#include "App/Engine/RemoteControl.h"
#include "App/Support/VolumeSetup.h"
#include "Platform/Clock.h"

#include <QUrl>

#include <optional>

namespace quillmount {

class DriveMount;
class EngineProcess;

// The one object that owns the drive: the engine process, its mount, the polling of it, its restarts. All of it runs on
// the main thread. A member coroutine looks at its QPointer after every suspension: the object may be gone.
class DriveEngine : public ObservableObject {
    Q_OBJECT

public:
    using State = DriveState;
    using Stats = DriveStats;
    using Quota = DriveQuota;
    using Transfer = DriveTransfer;

    // Prepares the folders and decides the first state; starts nothing. `volumeSetup` outlives this object.
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
    // Something of the user's own stands where the drive would be mounted, so it cannot be started.
    [[nodiscard]] bool isMountPointTaken() const;

    // Starts the drive of the connected account. Does nothing while an engine runs, and after `shutdownNow`.
    void start();
    // The user's "try again": forgets earlier restarts and starts. A failed drive leaves its state at once; one
    // that did not fail is not disturbed.
    void retry();
    // Takes a new account (`token`: one line of JSON; `email`: absent when not known) and starts its drive, unless a
    // later wish of the user stands against it. Throws EngineConfig::ConfigError when the account could not be saved;
    // then nothing else has changed.
    [[nodiscard]] QCoro::Task<> connect(QString token, std::optional<QString> email);
    // Takes the drive away: after the uploads, without a time limit, or at once with `force`. What is not uploaded
    // stays in the cache. Resolves when no engine runs any more, or when a later wish has taken over.
    [[nodiscard]] QCoro::Task<> eject(bool force);
    // An eject that waits for uploads stops waiting.
    void ejectNow();
    // An eject that waits for uploads is given up; the drive stays. No effect once it no longer waits.
    void cancelEject();
    // Ejects at once and forgets the account, the cache and what was not uploaded.
    [[nodiscard]] QCoro::Task<> signOut();
    // Until `allowStarts`, nothing starts the drive, connects an account or sets the location up; a launch that is
    // under way does not come to its engine. Quillmount is being removed.
    void forbidStarts();
    void allowStarts();
    // Ejects at once, and also ends the engine and the mount that an earlier run has left, wherever that is mounted.
    [[nodiscard]] QCoro::Task<> endEverything();
    // The places at which a drive of ours is mounted.
    [[nodiscard]] QStringList mountedPoints() const;
    // At the end of the application: unmounts and stops the engine; nothing is started after it. Blocks, at most for
    // about 20 seconds. Only the first call does anything.
    void shutdownNow();
    // Makes the drive a location of the file manager, ejecting and starting it again around that. `completed` also when
    // there was nothing left to do, `failed` when another set-up is under way.
    [[nodiscard]] QCoro::Task<VolumeSetup::Outcome> setUpFinderLocation();
    // A set-up of the location is under way, asked for or offered; nothing starts meanwhile.
    [[nodiscard]] bool isSettingUp() const { return m_isSettingUp; }
    // One round of questions to the engine. Answers that do not come leave their figures as they are.
    [[nodiscard]] QCoro::Task<> refresh();

Q_SIGNALS:
    void stateChanged();
    void statsChanged();
    void quotaChanged();
    void isOnlineChanged();
    void driveFolderURLChanged();
    void isSettingUpChanged();
    // Files were found in the bare mount point and moved to `path`.
    void filesSetAside(const QString &path);
    // The drive was not started: something of the user's own stands where it would be mounted, and stays as it is.
    void mountPointTaken(const QString &path);
    // The engine has put `count` files whose place in the cache was damaged into the folder `path`.
    void filesRecovered(const QString &path, qint64 count);

private:
    using Event = DriveTransition::Event;
    // The one place that changes the state: looks the event up in the table of transitions and assigns what it leads
    // to. The new state; absent when the event leaves the state as it is. `kind`: why something ended or failed.
    std::optional<State> handle(Event event, ErrorMapper::Kind kind = ErrorMapper::Kind::unknown);
    [[nodiscard]] DriveTransition::Circumstances circumstances() const;

    [[nodiscard]] QCoro::Task<> carryOutEject(quint64 wish, bool force);
    // Waits for the eject of this wish to end.
    [[nodiscard]] QCoro::Task<> joinEject(quint64 wish, bool force);
    // Resolves when nothing waits for its upload and the mount is gone, and when there is no sense in waiting.
    [[nodiscard]] QCoro::Task<> waitForUploads(quint64 wish);
    void forgetAccount();
    void resetAccountFigures();
    void clearStats();

    void launch();
    // Offers the set-up, unless it is complete, and launches.
    [[nodiscard]] QCoro::Task<> launchAfterVolumeSetup();
    // Runs the set-up and remembers whether it was declined.
    [[nodiscard]] QCoro::Task<VolumeSetup::Outcome> runVolumeSetup();
    void setSettingUp(bool settingUp);
    // Serves the start that was wished for while the set-up was under way, or withdraws it.
    void launchIfWished();
    void engineExited(quint64 run);
    // An event after which the engine is restarted, or the drive remounted, unless that was done too often.
    void restartOrFail(Event event, ErrorMapper::Kind kind);
    [[nodiscard]] QCoro::Task<> startAfter(Clock::Duration delay, quint64 wish, std::stop_token stop);
    [[nodiscard]] QCoro::Task<> retryLater(std::stop_token stop);
    // Takes the mount away and then ends the engine. Resolves when it has ended or another one was started.
    [[nodiscard]] QCoro::Task<> stopEngine();
    // The same for the engines and mounts of an earlier run too, which need not be the drive's.
    [[nodiscard]] QCoro::Task<> endEngines();
    [[nodiscard]] QCoro::Task<> stopEngineThenStart(quint64 wish);

    [[nodiscard]] QCoro::Task<> mountThenPoll(Clock::Duration delay, std::stop_token stop);
    [[nodiscard]] QCoro::Task<bool> waitForMount(std::stop_token stop);
    [[nodiscard]] QCoro::Task<> poll(std::stop_token stop);
    [[nodiscard]] QCoro::Task<> endIdleEngine(std::stop_token stop);
    [[nodiscard]] QCoro::Task<> mountLost(bool stillListed);

    // True when the engine has told the figures of its cache, which are published then.
    [[nodiscard]] QCoro::Task<bool> askCacheFigures();
    [[nodiscard]] QCoro::Task<> refreshQuota(RemoteControl rc);
    [[nodiscard]] QCoro::Task<> refreshFolderURL(RemoteControl rc);
    // Whether an answer still belongs to the engine that was asked.
    [[nodiscard]] bool isCurrent(quint64 run) const { return m_rc && m_run == run; }
    void publishTransfers(const QJsonObject &coreStats);
    void tellOfRecoveredFiles(const QJsonObject &vfsStats);

    VolumeSetup &m_volumeSetup;
    Clock &m_clock;
    DriveMount *m_mount;

    State m_state = State::stopped;
    Stats m_stats;
    std::optional<Quota> m_quota;
    bool m_isOnline = true;
    std::optional<QUrl> m_driveFolderURL;

    EngineProcess *m_process = nullptr;
    std::optional<RemoteControl> m_rc;
    quint16 m_nfsPort = 0;
    TaskHandle m_pollTask;
    TaskHandle m_restartTask;     // a pending restart, or the pending retry of a drive that is offline
    qint64 m_restartAttempts = 0; // automatic restarts of engine or mount since the last `retry`
    bool m_stopRequested = false; // the engine's exit was asked for
    bool m_forceEjectRequested = false;
    bool m_isSettingUp = false;
    bool m_hasShutDown = false;
    bool m_mayStart = true;
    int m_signOuts = 0;                              // under way; nothing starts meanwhile
    std::optional<Clock::Duration> m_lastQuotaFetch; // uptime; absent until the first time
    QString m_recoveryFolder;                        // the last one that was told of
    quint64 m_run = 0;                               // which run of the engine something belongs to
    // What the user wished last, as a count: whoever waited looks at it before he starts or takes away anything.
    quint64 m_wish = 0;
    quint64 m_ejectWish = 0;   // that of the last eject
    quint64 m_accountWish = 0; // the same for connecting and signing out alone
    quint64 m_startWish = 0;   // the one that a launch after the volume's set-up serves
};

} // namespace quillmount
