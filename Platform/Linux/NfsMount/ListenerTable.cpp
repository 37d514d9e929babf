// SPDX-License-Identifier: LicenseRef-Quillmount
#include "Platform/Linux/NfsMount/ListenerTable.h"

#include <unistd.h>

#include <cstdlib>
#include <fstream>
#include <sstream>

namespace quillmount::nfsmount {
namespace {

/// True for the kernel's hexadecimal form of "every address" or of a loopback address, of either family.
bool reachesLoopback(std::string_view address) {
    if (address.find_first_not_of('0') == std::string_view::npos)
        return true;
    if (address.size() == 8)
        return address.ends_with("7F");
    return address == "00000000000000000000000001000000" ||
           (address.starts_with("0000000000000000FFFF0000") && address.ends_with("7F"));
}

} // namespace

ListenerOwner listenerOwner(std::string_view socketTable, std::uint16_t port, std::uint32_t userId) {
    ListenerOwner owner = ListenerOwner::Unknown;
    std::istringstream lines{std::string(socketTable)};
    std::string line;
    std::getline(lines, line); // the heading
    while (std::getline(lines, line)) {
        std::istringstream fields(line);
        std::string slot, local, remote, state, queues, timer, retransmits;
        std::uint32_t uid = 0;
        fields >> slot >> local >> remote >> state >> queues >> timer >> retransmits >> uid;
        const auto colon = local.rfind(':');
        if (!fields || colon == std::string::npos || state != "0A")
            continue;
        if (std::strtoul(local.c_str() + colon + 1, nullptr, 16) != port || !reachesLoopback(local.substr(0, colon)))
            continue;
        if (uid != userId)
            return ListenerOwner::Foreign;
        owner = ListenerOwner::Own;
    }
    return owner;
}

ListenerOwner currentListenerOwner(const std::string &address, std::uint16_t port) {
    // A socket that listens on every address, of either family, would be reached as well.
    ListenerOwner result = ListenerOwner::Unknown;
    for (const char *path : {"/proc/net/tcp", "/proc/net/tcp6"}) {
        std::ifstream file(path);
        std::ostringstream text;
        text << file.rdbuf();
        const ListenerOwner owner = listenerOwner(text.str(), port, geteuid());
        if (owner == ListenerOwner::Foreign)
            return owner;
        if (owner == ListenerOwner::Own)
            result = owner;
        if (address.find(':') == std::string::npos && result == ListenerOwner::Own)
            break;
    }
    return result;
}

} // namespace quillmount::nfsmount
