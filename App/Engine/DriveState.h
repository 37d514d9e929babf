// SPDX-License-Identifier: LicenseRef-Quillmount
#pragma once

#include "App/Engine/ErrorMapper.h"

#include <QList>
#include <QString>

#include <optional>

namespace quillmount {

// The values that the drive publishes.

// Where the drive is in its life.
class DriveState {
    Q_GADGET

public:
    enum Case {
        failed,    // the drive stopped or could not start; `kind()` says why
        signedOut, // no account is connected
        stopped,   // an account is connected; no engine runs and nothing is mounted
        starting,  // the engine is being launched, the drive mounted, or an automatic restart is pending
        live,      // the drive is mounted and polled
        ejecting,  // waiting for uploads, or unmounting
    };
    Q_ENUM(Case)

    // Any case but `failed`, which `failure` makes.
    constexpr DriveState(Case which) // NOLINT(google-explicit-constructor): a case without a kind is a state
        : m_case(which) {}
    [[nodiscard]] static constexpr DriveState failure(ErrorMapper::Kind kind) {
        DriveState state(failed);
        state.m_kind = kind;
        return state;
    }

    [[nodiscard]] constexpr Case which() const { return m_case; }
    [[nodiscard]] constexpr bool isFailed() const { return m_case == failed; }
    // Why the drive failed; absent in every other state.
    [[nodiscard]] constexpr std::optional<ErrorMapper::Kind> kind() const { return m_kind; }
    // For the log: "live", "failed(offline)".
    [[nodiscard]] QString name() const;

    friend constexpr bool operator==(const DriveState &, const DriveState &) = default;

private:
    Case m_case;
    std::optional<ErrorMapper::Kind> m_kind;
};

// One upload in progress.
struct DriveTransfer {
    QString id;      // its path inside the drive, as the engine reports it
    QString name;    // the last component of `id`
    int percent = 0; // 0 to 100

    friend bool operator==(const DriveTransfer &, const DriveTransfer &) = default;
};

// The engine's latest figures.
struct DriveStats {
    qint64 uploadsQueued = 0;     // files written locally and waiting to be uploaded
    qint64 uploadsInProgress = 0; // files being uploaded now
    qint64 erroredFiles = 0;      // files whose upload failed and is retried
    qint64 cacheBytes = 0;        // held in the local cache
    double bytesPerSecond = 0;
    QList<DriveTransfer> transfers; // at most five, in the engine's order

    [[nodiscard]] qint64 pendingUploads() const { return uploadsQueued + uploadsInProgress; }

    friend bool operator==(const DriveStats &, const DriveStats &) = default;
};

// The account's storage at Google, in bytes.
struct DriveQuota {
    qint64 total = 0;
    qint64 used = 0;
    qint64 free = 0;

    friend bool operator==(const DriveQuota &, const DriveQuota &) = default;
};

} // namespace quillmount
