// SPDX-License-Identifier: LicenseRef-Quillmount
#pragma once

#include "App/Engine/DriveState.h"

#include <QObject>

#include <chrono>
#include <optional>

namespace quillmount {

// The life cycle of the drive as a table: which event leads from which state to which other.
class DriveTransition {
    Q_GADGET

public:
    enum class Event {
        created,             // the drive object was made
        start,               // a start is wanted
        volumeSetupOffered,  // the start waits for the set-up of the location
        startWithdrawn,      // the set-up has ended, and nobody wants the start any more
        engineMissing,       // a launch without an engine executable
        launch,              // a launch
        cacheInUse,          // the launch found another engine on the cache
        mountPointUnusable,  // the launch found something at the mount point that is not Quillmount's
        engineNotStarted,    // the engine process could not be started
        mounted,             // the drive appeared in the list of mounts
        mountDeadline,       // it did not within the time that a start may take
        mountServerGone,     // the process that serves the mount ended
        engineReportedError, // an answer of the engine named an error
        engineExited,        // the engine process ended
        retry,               // the user retries
        formerEngineRuns,    // the retry first stops the engine of the failed drive
        eject,               // an eject, forced or not
        cancelEject,         // the user keeps the drive
        unmountedAfterAll,   // the unmount of an eject succeeded after the eject was cancelled
        detached,            // the drive is unmounted and its engine has ended
        connected,           // an account was saved
        signedOut,           // the account was removed
    };
    Q_ENUM(Event)

    // What the guards look at.
    struct Circumstances {
        bool hasAccount = false;        // the engine's configuration file exists
        bool hasEngine = false;         // an engine process runs
        bool isSettingUpVolume = false; // the set-up of the location runs
        bool isMounted = false;
        bool stopRequested = false; // the engine was told to end
        bool hasShutDown = false;   // the application is ending
        qint64 restartAttempt = 0;  // the number that an automatic restart would have
        ErrorMapper::Kind kind = ErrorMapper::Kind::unknown;
    };

    // The state that `event` leads to; absent when it leaves the state as it is.
    [[nodiscard]] static std::optional<DriveState> next(DriveState from, Event event,
                                                        const Circumstances &circumstances);

    // The pause before an automatic restart, by its number: 2, 4, 8, 16, 30 seconds.
    [[nodiscard]] static std::chrono::seconds restartDelay(qint64 attempt);
};

} // namespace quillmount
