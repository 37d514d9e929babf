// SPDX-License-Identifier: LicenseRef-Quillmount
#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace quillmount {

// Everything that is set up for the drive's own place on a machine, as the texts that are written and the commands that
// root runs. Without Qt: the program that runs them is built from the same.
namespace LocationSetup {

enum class System { macOS, gnuLinux };

inline constexpr std::string_view mountPoint = "/Volumes/Quillmount";
inline constexpr std::string_view hostName = "Quillmount";
inline constexpr std::string_view label = "com.orvane.quillmount.volume";
inline constexpr std::string_view daemonFile = "/Library/LaunchDaemons/com.orvane.quillmount.volume.plist";
// The last line of a script that ran to its end.
inline constexpr std::string_view successMarker = "QUILLMOUNT_SETUP_OK";
// What the administrator is told when the password is asked for.
inline constexpr std::string_view installPrompt =
    "Quillmount needs your password once to add your drive to Finder's Locations.";
inline constexpr std::string_view uninstallPrompt =
    "Quillmount needs your password to remove its drive setup from this Mac.";
// The program that runs the commands on Linux, where the package puts it: never one that anybody but root can change.
inline constexpr std::string_view program = "/usr/libexec/quillmount/quillmount-location";

// The script that makes the mount point again after the folder around it was emptied; for the user of this id.
[[nodiscard]] std::string mountPointScript(System system, unsigned uid);
// The daemon file: a property list with that script.
[[nodiscard]] std::string propertyList(System system, unsigned uid);
// Whether a daemon file was made by this set-up and for this user.
[[nodiscard]] bool isSetUpFor(std::string_view daemonFileText, unsigned uid);

// The commands, joined such that each list stops at its first failure. `temporaryCopy` is where the property list was
// written before; on Linux there is none, and the script brings the text with it.
[[nodiscard]] std::string installScript(System system, unsigned uid, std::string_view temporaryCopy = {});
[[nodiscard]] std::string uninstallScript(System system, unsigned uid);
// The script with the success marker behind it.
[[nodiscard]] std::string withMarker(const std::string &script);

// The units that stand for the daemon where systemd runs.
[[nodiscard]] std::string serviceUnit(unsigned uid);
[[nodiscard]] std::string pathUnit();

} // namespace LocationSetup
} // namespace quillmount
