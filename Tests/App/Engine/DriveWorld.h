// SPDX-License-Identifier: LicenseRef-Quillmount
#pragma once

#include "App/Engine/DriveEngine.h"
#include "Platform/Testing/ScopedPlatform.h"
#include "Tests/App/Engine/EngineScript.h"
#include "Tests/App/Engine/ScriptedVolumeSetup.h"
#include "Tests/Support/WaitFor.h"

#include <functional>
#include <memory>

namespace quillmount {

// A drive in a world of its own: a home, a clock that stands still, an engine that follows a script, and system
// commands that are small scripts and leave marks. What the commands do can be turned by marks in the other direction:
//   "mount-fails", "mount-late" (it succeeds but nothing is mounted yet), "mount-waits" (it does not end while the mark
//   is there), "unmount-fails", "unmount-waits", "end-waits", "engine-left" (an earlier engine is found, until it is
//   killed), "find-breaks".
class DriveWorld {
public:
    enum Account { connected, signedOut };

    explicit DriveWorld(Account account = connected);
    // Ends every engine and task.
    ~DriveWorld();
    Q_DISABLE_COPY_MOVE(DriveWorld)

    ScopedPlatform platform;
    ScriptedVolumeSetup setup;
    EngineScript engine;
    std::unique_ptr<DriveEngine> drive;

    // Makes the drive, and starts it until it is live.
    DriveEngine &makeDrive();
    [[nodiscard]] bool goLive();

    // Lets time pass as long as `condition` does not hold, but not while the engine starts or owes an answer, nor while
    // a command runs: these take real time. False when it does not come to hold.
    [[nodiscard]] bool advanceUntil(const std::function<bool()> &condition);
    [[nodiscard]] bool advanceUntil(DriveState state);
    // Lets so much time pass, with all that happens meanwhile.
    void advance(Clock::Duration duration);

    // An engine that the drive started and whose end it has not noticed yet.
    [[nodiscard]] bool hasEngine() const;

    void setMark(const QString &name, bool there = true) const;
    // What the mount table says of the mount point, without the drive.
    void setMounted(bool mounted) const;
    // The system commands run since the last call, each with its parameters.
    QStringList takeCommands();
    // Their first words only.
    [[nodiscard]] QStringList takeCommandNames();
    // Every state assigned since the drive was made.
    [[nodiscard]] const QStringList &states() const { return m_states; }

private:
    [[nodiscard]] QString markPath(const QString &name) const;
    void scriptCommands() const;
    void letAnswersCome() const;
    [[nodiscard]] bool isBusy() const;
    // Nothing goes on, and nothing is left to be handled.
    [[nodiscard]] bool isQuiet() const;

    QStringList m_states;
    qsizetype m_commandsTaken = 0;
};

} // namespace quillmount
