// SPDX-License-Identifier: LicenseRef-Quillmount
#pragma once

#include "Platform/Platform.h"
#include "Platform/Testing/ManualClock.h"
#include "Platform/Testing/MemoryActivation.h"
#include "Platform/Testing/MemoryAlerts.h"
#include "Platform/Testing/MemoryAppearance.h"
#include "Platform/Testing/MemoryAuthorization.h"
#include "Platform/Testing/MemoryBundle.h"
#include "Platform/Testing/MemoryDirectories.h"
#include "Platform/Testing/MemoryLocalPeers.h"
#include "Platform/Testing/MemoryLoginItems.h"
#include "Platform/Testing/MemoryMenuBarExtra.h"
#include "Platform/Testing/MemoryMountTable.h"
#include "Platform/Testing/MemoryNetworkPath.h"
#include "Platform/Testing/MemoryPasteboard.h"
#include "Platform/Testing/MemorySecretStore.h"
#include "Platform/Testing/MemorySessionInhibitor.h"
#include "Platform/Testing/MemorySidebar.h"
#include "Platform/Testing/MemorySingleInstance.h"
#include "Platform/Testing/MemoryTerminationSignals.h"
#include "Platform/Testing/MemoryUpdater.h"
#include "Platform/Testing/MemoryUserDefaults.h"
#include "Platform/Testing/MemoryWorkspace.h"
#include "Platform/Testing/ScriptedSystemCommands.h"

namespace quillmount {

// A platform in which every role is a peer from this folder.
[[nodiscard]] std::unique_ptr<Platform> makeTestingPlatform();

// Installs such a platform for as long as it lives, and gives access to the peers as what they are. Make it before, and
// so destroy it after, everything that uses the platform.
class ScopedPlatform {
public:
    ScopedPlatform();
    ~ScopedPlatform();
    Q_DISABLE_COPY_MOVE(ScopedPlatform)

    [[nodiscard]] ManualClock &clock() const;
    [[nodiscard]] MemoryDirectories &directories() const;
    [[nodiscard]] MemoryUserDefaults &userDefaults() const;
    [[nodiscard]] MemoryBundle &bundle() const;
    [[nodiscard]] MemoryLoginItems &loginItems() const;
    [[nodiscard]] MemorySecretStore &secretStore() const;
    [[nodiscard]] MemoryNetworkPath &networkPath() const;
    [[nodiscard]] MemoryLocalPeers &localPeers() const;
    [[nodiscard]] ScriptedSystemCommands &systemCommands() const;
    [[nodiscard]] MemoryMountTable &mountTable() const;
    [[nodiscard]] MemorySingleInstance &singleInstance() const;
    [[nodiscard]] MemoryAlerts &alerts() const;
    [[nodiscard]] MemoryWorkspace &workspace() const;
    [[nodiscard]] MemoryPasteboard &pasteboard() const;
    [[nodiscard]] MemoryTerminationSignals &terminationSignals() const;
    [[nodiscard]] MemorySessionInhibitor &sessionInhibitor() const;
    [[nodiscard]] MemoryMenuBarExtra &menuBarExtra() const;
    [[nodiscard]] MemoryActivation &activation() const;
    [[nodiscard]] MemoryAppearance &appearance() const;
    [[nodiscard]] MemoryUpdater &updater() const;
    [[nodiscard]] MemoryAuthorization &authorization() const;
    [[nodiscard]] MemorySidebar &sidebar() const;

    // Replaces the manual clock by real time, for tests with real processes. To be called first; `clock` is gone then.
    void useSystemClock();
};

} // namespace quillmount
