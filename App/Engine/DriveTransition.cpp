// SPDX-License-Identifier: LicenseRef-Quillmount
#include "App/Engine/DriveTransition.h"

#include <algorithm>

namespace quillmount {

namespace {

using Event = DriveTransition::Event;
using Circumstances = DriveTransition::Circumstances;
using Kind = ErrorMapper::Kind;
using Target = std::optional<DriveState>;

// Sets of states.
using From = unsigned;
constexpr From in(DriveState::Case which) {
    return 1U << which;
}
constexpr From any = ~0U;
constexpr From failedState = in(DriveState::failed);
constexpr From stoppedState = in(DriveState::stopped);
constexpr From startingState = in(DriveState::starting);
constexpr From liveState = in(DriveState::live);
constexpr From ejectingState = in(DriveState::ejecting);

// Guards.
constexpr qint64 maxRestarts = 5;
constexpr bool always(const Circumstances &) {
    return true;
}
constexpr bool isOccupied(const Circumstances &now) {
    return now.hasEngine || now.isSettingUpVolume;
}
constexpr bool hasNoAccount(const Circumstances &now) {
    return !now.hasAccount;
}
constexpr bool hasEngine(const Circumstances &now) {
    return now.hasEngine;
}
constexpr bool hasNoEngine(const Circumstances &now) {
    return !now.hasEngine;
}
constexpr bool isMounted(const Circumstances &now) {
    return now.isMounted;
}
constexpr bool isNotMounted(const Circumstances &now) {
    return !now.isMounted;
}
constexpr bool stopRequested(const Circumstances &now) {
    return now.stopRequested;
}
constexpr bool hasShutDown(const Circumstances &now) {
    return now.hasShutDown;
}
constexpr bool needsReconnect(const Circumstances &now) {
    return now.kind == Kind::needsReconnect;
}
constexpr bool mayRestart(const Circumstances &now) {
    return now.restartAttempt <= maxRestarts;
}

// Targets.
constexpr Target unchanged(const Circumstances &) {
    return std::nullopt;
}
template <DriveState::Case which>
constexpr Target to(const Circumstances &) {
    return DriveState(which);
}
template <Kind kind>
constexpr Target failed(const Circumstances &) {
    return DriveState::failure(kind);
}
constexpr Target failedForThatReason(const Circumstances &now) {
    return DriveState::failure(now.kind);
}
constexpr Target failedToMount(const Circumstances &now) {
    return DriveState::failure(now.kind == Kind::unknown ? Kind::mountRefused : now.kind);
}
constexpr Target atRest(const Circumstances &now) {
    return DriveState(now.hasAccount ? DriveState::stopped : DriveState::signedOut);
}
constexpr auto signedOut = to<DriveState::signedOut>;
constexpr auto stopped = to<DriveState::stopped>;
constexpr auto starting = to<DriveState::starting>;
constexpr auto live = to<DriveState::live>;
constexpr auto ejecting = to<DriveState::ejecting>;

struct Row {
    From from;
    Event event;
    bool (*guard)(const Circumstances &);
    Target (*to)(const Circumstances &);
};

// The first row that applies decides; an event without one leaves the state as it is.
// clang-format off
constexpr Row table[] = {
    {any,                       Event::created,             always,         atRest},
    {any,                       Event::start,               isOccupied,     unchanged},
    {any,                       Event::start,               hasNoAccount,   signedOut},
    {any,                       Event::volumeSetupOffered,  always,         starting},
    {startingState,             Event::startWithdrawn,      hasNoEngine,    atRest},
    {any,                       Event::engineMissing,       always,         failed<Kind::unknown>},
    {any,                       Event::launch,              always,         starting},
    {startingState,             Event::cacheInUse,          mayRestart,     starting},
    {startingState,             Event::cacheInUse,          always,         failedForThatReason},
    {startingState,             Event::mountPointUnusable,  always,         failed<Kind::mountRefused>},
    {startingState,             Event::engineNotStarted,    always,         failed<Kind::unknown>},
    {startingState,             Event::mounted,             isMounted,      live},
    {startingState,             Event::mountDeadline,       always,         failedToMount},
    {liveState | startingState, Event::mountServerGone,     mayRestart,     starting},
    {liveState | startingState, Event::mountServerGone,     always,         failedToMount},
    {liveState | ejectingState, Event::engineReportedError, needsReconnect, failed<Kind::needsReconnect>},
    {any,                       Event::engineExited,        hasShutDown,    atRest},
    {any,                       Event::engineExited,        stopRequested,  unchanged},
    {failedState,               Event::engineExited,        always,         unchanged},
    // Nobody wants it back; what it did not upload waits in the cache.
    {ejectingState,             Event::engineExited,        always,         atRest},
    {any,                       Event::engineExited,        needsReconnect, failed<Kind::needsReconnect>},
    {any,                       Event::engineExited,        mayRestart,     starting},
    {any,                       Event::engineExited,        always,         failedForThatReason},
    {failedState,               Event::retry,               always,         stopped},
    {stoppedState,              Event::formerEngineRuns,    hasEngine,      starting},
    {any,                       Event::eject,               hasNoEngine,    atRest},
    {any,                       Event::eject,               always,         ejecting},
    {ejectingState,             Event::cancelEject,         isMounted,      live},
    {ejectingState,             Event::cancelEject,         always,         starting},
    {liveState,                 Event::unmountedAfterAll,   isNotMounted,   starting},
    {any,                       Event::detached,            always,         atRest},
    {any,                       Event::connected,           always,         stopped},
    {any,                       Event::signedOut,           always,         signedOut},
};
// clang-format on

} // namespace

std::optional<DriveState> DriveTransition::next(DriveState from, Event event, const Circumstances &circumstances) {
    for (const Row &row : table)
        if ((row.from & in(from.which())) != 0 && row.event == event && row.guard(circumstances))
            return row.to(circumstances);
    return std::nullopt;
}

std::chrono::seconds DriveTransition::restartDelay(qint64 attempt) {
    return std::min(std::chrono::seconds(1LL << attempt), std::chrono::seconds(30));
}

} // namespace quillmount
