// SPDX-License-Identifier: LicenseRef-Quillmount
#pragma once

namespace quillmount {

// Everything that the panel and the menu of its item can do.
enum class PanelAction {
    none,
    openPanel,
    openDrive,
    openWebDrive, // the drive's folder at Google, in the browser
    start,
    retry,
    eject,
    ejectNow,
    cancelEject,
    contactSupport,
    openOnboarding,
    openSettings,
    quit,
};

} // namespace quillmount
