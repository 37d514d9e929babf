// SPDX-License-Identifier: LicenseRef-Quillmount
#pragma once

#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace quillmount::mount {

// Gives the numeric addresses of a host name; may block.
using Resolver = std::function<std::vector<std::string>(const std::string &)>;

// True for a literal address in 127.0.0.0/8 or ::1.
bool isLoopbackAddress(std::string_view address);

// The loopback address that `host` stands for, or nothing when it stands for any other machine. The names below
// `localhost` are mapped here, because the usual resolvers do not know them; only the drive's own name is looked up.
std::optional<std::string> loopbackAddress(std::string_view host, const Resolver &resolve);

// The system's resolver.
std::vector<std::string> resolveWithSystem(const std::string &host);

} // namespace quillmount::mount
