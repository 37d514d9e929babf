// SPDX-License-Identifier: LicenseRef-Quillmount
#pragma once

#include <QCoroTask>

namespace quillmount {

// Setting the drive up as a location of the file manager, which needs an administrator once.
class VolumeSetup {
public:
    virtual ~VolumeSetup() = default;

    // False while there is nothing to offer on this system; the other answers are then all "no".
    [[nodiscard]] virtual bool isAvailable() const = 0;
    // The set-up was made, so the drive has its own mount point outside the home folder.
    [[nodiscard]] virtual bool isInstalled() const = 0;
    // The name "Quillmount" resolves to this machine.
    [[nodiscard]] virtual bool resolvesLocally() const = 0;
    // Blocks until the mount point is ready, at most for `seconds`.
    virtual bool waitUntilReady(double seconds) = 0;
    // Asks the user and carries the set-up out. Resolves true when it was completed.
    virtual QCoro::Task<bool> run() = 0;
};

// The place of the set-up on a system that has none.
class NoVolumeSetup final : public VolumeSetup {
public:
    [[nodiscard]] bool isAvailable() const override { return false; }
    [[nodiscard]] bool isInstalled() const override { return false; }
    [[nodiscard]] bool resolvesLocally() const override { return false; }
    bool waitUntilReady(double seconds) override;
    QCoro::Task<bool> run() override;
};

} // namespace quillmount
