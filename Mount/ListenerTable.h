// SPDX-License-Identifier: LicenseRef-Quillmount
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

namespace quillmount::mount {

// Who listens on a loopback port, as far as the kernel's socket list tells.
enum class ListenerOwner { own, foreign, unknown };

// Who would take a connection to `address`, a literal one. Reads the text of /proc/net/tcp or /proc/net/tcp6. Every
// local process may listen on a port that our engine has just left, and would be given the user's files; the owner of
// the listening socket tells the two apart.
ListenerOwner listenerOwner(std::string_view socketTable, const std::string &address, std::uint16_t port,
                            std::uint32_t userId);

// The same for the sockets of this machine as they are now.
ListenerOwner currentListenerOwner(const std::string &address, std::uint16_t port);

} // namespace quillmount::mount
