// SPDX-License-Identifier: LicenseRef-Quillmount
#pragma once

#include "Platform/Authorization.h"

#include <QCoroTask>
#include <QString>

namespace quillmount {

// Setting the drive up as a location of the file manager, which needs an administrator once. It gives the drive a mount
// point outside the home folder, which belongs to the whole machine, and a name.
class VolumeSetup {
public:
    using Outcome = Authorization::Outcome;

    // The mount point of a drive that is set up, and the name that stands for this machine then.
    [[nodiscard]] static QString mountPoint();
    [[nodiscard]] static QString hostName();

    virtual ~VolumeSetup() = default;

    // Where this set-up has the drive mounted: the mount point above, save in tests.
    [[nodiscard]] virtual QString point() const { return mountPoint(); }
    // False where there is nothing to offer: on this system, or in an application that no package has installed. The
    // other answers are then all "no", and nothing is run.
    [[nodiscard]] virtual bool isAvailable() const = 0;
    // The first start offers it by itself. Where not, the user finds it in the settings alone.
    [[nodiscard]] virtual bool offersAtStart() const = 0;
    // The set-up was made, and for this user, so the drive has its own mount point outside the home folder.
    [[nodiscard]] virtual bool isInstalled() const = 0;
    // The set-up is installed and the name resolves to this machine: with both there is nothing left to set up. Takes
    // at most a second, never blocks, and asks once: the answer is kept until the set-up changes.
    [[nodiscard]] virtual QCoro::Task<bool> resolvesLocally() = 0;
    // The mount point can be used now: a drive of this user's is there, or a folder that he owns. Somebody else's mount
    // there is not ready.
    [[nodiscard]] virtual bool isReady() const = 0;
    // Blocks until the mount point is ready, at most for `seconds`. The last answer of `isReady`.
    virtual bool waitUntilReady(double seconds) = 0;

    // Asks the user and carries the set-up out, with what makes the drive visible in the file manager. `completed` only
    // when it is installed afterwards.
    [[nodiscard]] virtual QCoro::Task<Outcome> run() = 0;
    // What `remove` would take away is this user's: the set-up itself or, where its file is missing, the folder of the
    // mount point. Another user's stays. False: no password needs to be asked for.
    [[nodiscard]] virtual bool isRemovable() const = 0;
    // Asks the user and takes away what only an administrator may. Nothing may be mounted there any more.
    [[nodiscard]] virtual QCoro::Task<Outcome> remove() = 0;
    // Takes the drive out of the user's own list of the file manager, where `run` has put it. Asks nobody.
    virtual void removeSidebarEntry() = 0;
    // Takes back a question of `run` or `remove` that is still open.
    virtual void cancel() = 0;
};

// The place of the set-up on a system that has none.
class NoVolumeSetup final : public VolumeSetup {
public:
    [[nodiscard]] bool isAvailable() const override { return false; }
    [[nodiscard]] bool offersAtStart() const override { return false; }
    [[nodiscard]] bool isInstalled() const override { return false; }
    [[nodiscard]] QCoro::Task<bool> resolvesLocally() override;
    [[nodiscard]] bool isReady() const override { return false; }
    bool waitUntilReady(double seconds) override;
    [[nodiscard]] QCoro::Task<Outcome> run() override;
    [[nodiscard]] bool isRemovable() const override { return false; }
    [[nodiscard]] QCoro::Task<Outcome> remove() override;
    void removeSidebarEntry() override {}
    void cancel() override {}
};

} // namespace quillmount
