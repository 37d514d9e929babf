// SPDX-License-Identifier: LicenseRef-Quillmount
#include "Mount/ListenerTable.h"

#include <arpa/inet.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <set>
#include <sstream>

namespace quillmount::mount {
namespace {

// The forms in which the kernel writes the listeners that a connection to `address` reaches: those of exactly this
// address, and of every address. Whoever listens on another loopback address gets nothing of ours.
std::set<std::string> listenersReached(const std::string &address) {
    const std::string every(32, '0');
    std::set<std::string> result{every.substr(0, 8), every};
    // Words of four bytes, as this machine orders them.
    const auto hexadecimal = [](const std::uint32_t *words, int count) {
        std::string text;
        for (int i = 0; i < count; ++i) {
            char word[9];
            std::snprintf(word, sizeof word, "%08X", words[i]);
            text += word;
        }
        return text;
    };
    std::uint32_t words[4] = {};
    if (inet_pton(AF_INET, address.c_str(), words) == 1) {
        const std::uint32_t mapped[4] = {0, 0, htonl(0xFFFF), words[0]};
        result.insert(hexadecimal(words, 1));
        result.insert(hexadecimal(mapped, 4));
    } else if (inet_pton(AF_INET6, address.c_str(), words) == 1) {
        result.insert(hexadecimal(words, 4));
    }
    return result;
}

} // namespace

ListenerOwner listenerOwner(std::string_view socketTable, const std::string &address, std::uint16_t port,
                            std::uint32_t userId) {
    const std::set<std::string> reached = listenersReached(address);
    ListenerOwner owner = ListenerOwner::unknown;
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
        if (std::strtoul(local.c_str() + colon + 1, nullptr, 16) != port || !reached.contains(local.substr(0, colon)))
            continue;
        if (uid != userId)
            return ListenerOwner::foreign;
        owner = ListenerOwner::own;
    }
    return owner;
}

ListenerOwner currentListenerOwner(const std::string &address, std::uint16_t port) {
    // A socket that listens on every address, of either family, would be reached as well.
    ListenerOwner result = ListenerOwner::unknown;
    for (const char *path : {"/proc/net/tcp", "/proc/net/tcp6"}) {
        std::ifstream file(path);
        std::ostringstream text;
        text << file.rdbuf();
        const ListenerOwner owner = listenerOwner(text.str(), address, port, geteuid());
        if (owner == ListenerOwner::foreign)
            return owner;
        if (owner == ListenerOwner::own)
            result = owner;
        if (address.find(':') == std::string::npos && result == ListenerOwner::own)
            break;
    }
    return result;
}

} // namespace quillmount::mount
