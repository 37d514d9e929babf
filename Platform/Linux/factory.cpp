// SPDX-License-Identifier: LicenseRef-Quillmount
#include "Platform/Linux/CoreFiles.h"
#include "Platform/Linux/DriveTag.h"
#include "Platform/Linux/LinuxActivation.h"
#include "Platform/Linux/LinuxAlerts.h"
#include "Platform/Linux/LinuxAppearance.h"
#include "Platform/Linux/LinuxAuthorization.h"
#include "Platform/Linux/LinuxBundle.h"
#include "Platform/Linux/LinuxDirectories.h"
#include "Platform/Linux/LinuxLocalPeers.h"
#include "Platform/Linux/LinuxLoginItems.h"
#include "Platform/Linux/LinuxMenuBarExtra.h"
#include "Platform/Linux/LinuxMountTable.h"
#include "Platform/Linux/LinuxNetworkPath.h"
#include "Platform/Linux/LinuxPasteboard.h"
#include "Platform/Linux/LinuxSecretStore.h"
#include "Platform/Linux/LinuxSessionInhibitor.h"
#include "Platform/Linux/LinuxSidebar.h"
#include "Platform/Linux/LinuxSingleInstance.h"
#include "Platform/Linux/LinuxSystemCommands.h"
#include "Platform/Linux/LinuxTerminationSignals.h"
#include "Platform/Linux/LinuxUpdater.h"
#include "Platform/Linux/LinuxUserDefaults.h"
#include "Platform/Linux/LinuxWorkspace.h"
#include "Platform/Linux/SessionBus.h"
#include "Platform/Platform.h"
#include "Platform/SystemClock.h"

#include <QCoreApplication>

namespace quillmount {

using namespace Qt::StringLiterals;

void preparePlatform() {
    disableCoreFiles();
    SessionBus::startNone();
    LinuxActivation::keepStartToken();
}

std::unique_ptr<Platform> makePlatform() {
    const QString bundle = QCoreApplication::applicationDirPath();
    auto directories = std::make_unique<LinuxDirectories>();
    auto platform = std::make_unique<Platform>();
    platform->clock = std::make_unique<SystemClock>();
    platform->userDefaults =
        std::make_unique<LinuxUserDefaults>(directories->configuration() + u"/Quillmount/defaults.json"_s);
    platform->bundle = std::make_unique<LinuxBundle>(bundle);
    platform->loginItems =
        std::make_unique<LinuxLoginItems>(directories->configuration(), QCoreApplication::applicationFilePath());
    platform->secretStore = std::make_unique<LinuxSecretStore>();
    platform->networkPath = std::make_unique<LinuxNetworkPath>();
    platform->localPeers = std::make_unique<LinuxLocalPeers>();
    const QByteArray tag = driveTag(*directories);
    platform->systemCommands = std::make_unique<LinuxSystemCommands>(bundle + u"/quillmount-mount"_s, tag);
    platform->mountTable = std::make_unique<LinuxMountTable>(tag);
    platform->singleInstance =
        std::make_unique<LinuxSingleInstance>(directories->library() + u"/Quillmount/instance.lock"_s);
    platform->alerts = std::make_unique<LinuxAlerts>();
    platform->workspace = std::make_unique<LinuxWorkspace>();
    platform->pasteboard = std::make_unique<LinuxPasteboard>();
    platform->terminationSignals = std::make_unique<LinuxTerminationSignals>();
    platform->sessionInhibitor = std::make_unique<LinuxSessionInhibitor>();
    platform->menuBarExtra = std::make_unique<LinuxMenuBarExtra>(*platform->clock);
    platform->activation = std::make_unique<LinuxActivation>();
    platform->appearance = std::make_unique<LinuxAppearance>();
    platform->updater = std::make_unique<LinuxUpdater>(*platform->clock, *platform->bundle);
    platform->authorization =
        std::make_unique<LinuxAuthorization>(*platform->clock, LinuxAuthorization::systemCommand());
    platform->sidebar = std::make_unique<LinuxSidebar>(directories->configuration(), directories->applicationSupport());
    platform->directories = std::move(directories);
    return platform;
}

} // namespace quillmount
