// SPDX-License-Identifier: LicenseRef-Quillmount
#pragma once

#include <chrono>
#include <cstdint>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

namespace quillmount::mount {

// What the command line asks for: `-o OPTIONS HOST:/ MOUNTPOINT`.
struct MountOptions {
    std::string host;
    std::string mountPoint;
    // Marks whose drive it is, for whoever reads the list; may be empty.
    std::string tag;
    std::uint16_t port = 0;
    std::uint16_t mountPort = 0;
    // How long the server may be silent before calls fail.
    std::chrono::seconds deadTimeout{0};

    // The text that the kernel's list shows as the source of the mount.
    std::string source() const { return host + ":/" + tag; }
};

// Parses the arguments after the program's name. Exactly the options that the application passes are known and each of
// them is required, because a silently ignored one would mount something else than was asked for.
// Returns an error message of one line when anything is unknown, missing, repeated or out of range.
std::variant<MountOptions, std::string> parseMountOptions(const std::vector<std::string_view> &arguments);

} // namespace quillmount::mount
