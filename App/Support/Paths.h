// SPDX-License-Identifier: LicenseRef-Quillmount
#pragma once

#include <QString>

#include <optional>

namespace quillmount {

// Every file location of the application. Computed at each call; nothing is created except by `ensureDirectories`.
namespace Paths {

// The engine executable; absent when the application was installed without it.
[[nodiscard]] std::optional<QString> engineBinary();
// What is kept for good: the account.
[[nodiscard]] QString supportFolder();
// The engine's configuration file. That it exists is the one test of whether an account is connected.
[[nodiscard]] QString engineConfig();
[[nodiscard]] bool hasEngineConfig();
// The engine's cache: it also holds what was saved and has not been uploaded yet.
[[nodiscard]] QString cacheDirectory();
[[nodiscard]] QString logs();
[[nodiscard]] QString engineLog();
// Of the run of the engine before.
[[nodiscard]] QString formerEngineLog();
// The mount point in the home folder, used until the drive has been set up as a location of the file manager.
[[nodiscard]] QString homeMountPoint();
// What only tells of this machine, other programs' files beside it.
[[nodiscard]] QString stateFolder();
// The file that tells which folder was made for the mount point, so that no other is taken for it.
[[nodiscard]] QString mountPointMark();

// Makes the three folders of the application, open to the user alone (mode 0700, also where they exist already). A
// failure is only logged: the engine reports a folder that it cannot use, and in its own words.
void ensureDirectories();

} // namespace Paths
} // namespace quillmount
