// SPDX-License-Identifier: LicenseRef-Quillmount
#include "Platform/Testing/ScopedPlatform.h"

#include "Platform/SystemClock.h"

namespace quillmount {

std::unique_ptr<Platform> makeTestingPlatform() {
    auto platform = std::make_unique<Platform>();
    platform->clock = std::make_unique<ManualClock>();
    platform->directories = std::make_unique<MemoryDirectories>();
    platform->userDefaults = std::make_unique<MemoryUserDefaults>();
    platform->bundle = std::make_unique<MemoryBundle>();
    platform->loginItems = std::make_unique<MemoryLoginItems>();
    platform->secretStore = std::make_unique<MemorySecretStore>();
    platform->networkPath = std::make_unique<MemoryNetworkPath>();
    platform->localPeers = std::make_unique<MemoryLocalPeers>();
    platform->systemCommands = std::make_unique<ScriptedSystemCommands>();
    platform->mountTable = std::make_unique<MemoryMountTable>();
    platform->singleInstance = std::make_unique<MemorySingleInstance>();
    platform->alerts = std::make_unique<MemoryAlerts>();
    platform->workspace = std::make_unique<MemoryWorkspace>();
    platform->pasteboard = std::make_unique<MemoryPasteboard>();
    platform->terminationSignals = std::make_unique<MemoryTerminationSignals>();
    platform->sessionInhibitor = std::make_unique<MemorySessionInhibitor>();
    platform->menuBarExtra = std::make_unique<MemoryMenuBarExtra>();
    platform->activation = std::make_unique<MemoryActivation>();
    platform->appearance = std::make_unique<MemoryAppearance>();
    platform->updater = std::make_unique<MemoryUpdater>();
    platform->authorization = std::make_unique<MemoryAuthorization>();
    platform->sidebar = std::make_unique<MemorySidebar>();
    return platform;
}

ScopedPlatform::ScopedPlatform() {
    Platform::install(makeTestingPlatform());
}

ScopedPlatform::~ScopedPlatform() {
    Platform::install(nullptr);
}

void ScopedPlatform::useSystemClock() {
    Platform::current().clock = std::make_unique<SystemClock>();
}

namespace {
// Checked, so that a test which put in another kind of role fails at once.
template <typename Peer, typename Pointer>
Peer &as(const Pointer &role) {
    return dynamic_cast<Peer &>(*role);
}
} // namespace

ManualClock &ScopedPlatform::clock() const {
    return as<ManualClock>(Platform::current().clock);
}

MemoryDirectories &ScopedPlatform::directories() const {
    return as<MemoryDirectories>(Platform::current().directories);
}

MemoryUserDefaults &ScopedPlatform::userDefaults() const {
    return as<MemoryUserDefaults>(Platform::current().userDefaults);
}

MemoryBundle &ScopedPlatform::bundle() const {
    return as<MemoryBundle>(Platform::current().bundle);
}

MemoryLoginItems &ScopedPlatform::loginItems() const {
    return as<MemoryLoginItems>(Platform::current().loginItems);
}

MemorySecretStore &ScopedPlatform::secretStore() const {
    return as<MemorySecretStore>(Platform::current().secretStore);
}

MemoryNetworkPath &ScopedPlatform::networkPath() const {
    return as<MemoryNetworkPath>(Platform::current().networkPath);
}

MemoryLocalPeers &ScopedPlatform::localPeers() const {
    return as<MemoryLocalPeers>(Platform::current().localPeers);
}

ScriptedSystemCommands &ScopedPlatform::systemCommands() const {
    return as<ScriptedSystemCommands>(Platform::current().systemCommands);
}

MemoryMountTable &ScopedPlatform::mountTable() const {
    return as<MemoryMountTable>(Platform::current().mountTable);
}

MemorySingleInstance &ScopedPlatform::singleInstance() const {
    return as<MemorySingleInstance>(Platform::current().singleInstance);
}

MemoryAlerts &ScopedPlatform::alerts() const {
    return as<MemoryAlerts>(Platform::current().alerts);
}

MemoryWorkspace &ScopedPlatform::workspace() const {
    return as<MemoryWorkspace>(Platform::current().workspace);
}

MemoryPasteboard &ScopedPlatform::pasteboard() const {
    return as<MemoryPasteboard>(Platform::current().pasteboard);
}

MemoryTerminationSignals &ScopedPlatform::terminationSignals() const {
    return as<MemoryTerminationSignals>(Platform::current().terminationSignals);
}

MemorySessionInhibitor &ScopedPlatform::sessionInhibitor() const {
    return as<MemorySessionInhibitor>(Platform::current().sessionInhibitor);
}

MemoryMenuBarExtra &ScopedPlatform::menuBarExtra() const {
    return as<MemoryMenuBarExtra>(Platform::current().menuBarExtra);
}

MemoryActivation &ScopedPlatform::activation() const {
    return as<MemoryActivation>(Platform::current().activation);
}

MemoryAppearance &ScopedPlatform::appearance() const {
    return as<MemoryAppearance>(Platform::current().appearance);
}

MemoryUpdater &ScopedPlatform::updater() const {
    return as<MemoryUpdater>(Platform::current().updater);
}

MemoryAuthorization &ScopedPlatform::authorization() const {
    return as<MemoryAuthorization>(Platform::current().authorization);
}

MemorySidebar &ScopedPlatform::sidebar() const {
    return as<MemorySidebar>(Platform::current().sidebar);
}

} // namespace quillmount
