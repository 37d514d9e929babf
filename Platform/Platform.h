// SPDX-License-Identifier: LicenseRef-Quillmount
#pragma once

#include "Platform/Activation.h"
#include "Platform/Alerts.h"
#include "Platform/Appearance.h"
#include "Platform/Authorization.h"
#include "Platform/Bundle.h"
#include "Platform/Clock.h"
#include "Platform/Directories.h"
#include "Platform/LocalPeers.h"
#include "Platform/LoginItems.h"
#include "Platform/MenuBarExtra.h"
#include "Platform/MountTable.h"
#include "Platform/NetworkPath.h"
#include "Platform/Pasteboard.h"
#include "Platform/SecretStore.h"
#include "Platform/SessionInhibitor.h"
#include "Platform/Sidebar.h"
#include "Platform/SingleInstance.h"
#include "Platform/SystemCommands.h"
#include "Platform/TerminationSignals.h"
#include "Platform/Updater.h"
#include "Platform/UserDefaults.h"
#include "Platform/Workspace.h"

#include <memory>

namespace quillmount {

// Everything the application asks of the system it runs on, one role a member. None is ever null once installed.
struct Platform {
    std::unique_ptr<Clock> clock;
    std::unique_ptr<Directories> directories;
    std::unique_ptr<UserDefaults> userDefaults;
    std::unique_ptr<Bundle> bundle;
    std::unique_ptr<LoginItems> loginItems;
    // Shared with the threads on which it is asked: a call may outlive the platform.
    std::shared_ptr<SecretStore> secretStore;
    std::unique_ptr<NetworkPath> networkPath;
    std::unique_ptr<LocalPeers> localPeers;
    std::unique_ptr<SystemCommands> systemCommands;
    std::unique_ptr<MountTable> mountTable;
    std::unique_ptr<SingleInstance> singleInstance;
    std::unique_ptr<Alerts> alerts;
    std::unique_ptr<Workspace> workspace;
    std::unique_ptr<Pasteboard> pasteboard;
    std::unique_ptr<TerminationSignals> terminationSignals;
    std::unique_ptr<SessionInhibitor> sessionInhibitor;
    std::unique_ptr<MenuBarExtra> menuBarExtra;
    std::unique_ptr<Activation> activation;
    std::unique_ptr<Appearance> appearance;
    std::unique_ptr<Updater> updater;
    std::unique_ptr<Authorization> authorization;
    std::unique_ptr<Sidebar> sidebar;

    // The installed platform. Calling it before `install` is a mistake of the program and ends it.
    [[nodiscard]] static Platform &current();
    // Replaces the installed platform; the former one is destroyed. Null removes it.
    static void install(std::unique_ptr<Platform> platform);
};

// What the system asks of a process before its application object is made, and before it has threads. From then on what
// is in its memory, or in that of the programs that it starts, gets into no core file.
void preparePlatform();

// The platform of the system that this was built for; the application must exist already.
[[nodiscard]] std::unique_ptr<Platform> makePlatform();

} // namespace quillmount
