// SPDX-License-Identifier: LicenseRef-Quillmount
#include "Mount/LoopbackHost.h"

#include <arpa/inet.h>
#include <netdb.h>

#include <algorithm>
#include <cctype>
#include <memory>

namespace quillmount::mount {
namespace {

constexpr std::string_view driveName = "quillmount";

std::string lowered(std::string_view text) {
    std::string result(text);
    std::transform(result.begin(), result.end(), result.begin(), [](unsigned char c) { return std::tolower(c); });
    return result;
}

bool isVersion4(std::string_view address) {
    in_addr parsed{};
    return inet_pton(AF_INET, std::string(address).c_str(), &parsed) == 1;
}

} // namespace

bool isLoopbackAddress(std::string_view address) {
    const std::string text(address);
    in_addr v4{};
    if (inet_pton(AF_INET, text.c_str(), &v4) == 1)
        return (ntohl(v4.s_addr) >> 24) == 127;
    in6_addr v6{};
    return inet_pton(AF_INET6, text.c_str(), &v6) == 1 && IN6_IS_ADDR_LOOPBACK(&v6);
}

std::optional<std::string> loopbackAddress(std::string_view host, const Resolver &resolve) {
    const std::string name = lowered(host);
    if (name == "localhost" || (name.size() > 10 && name.ends_with(".localhost")))
        return "127.0.0.1";
    if (name.size() > 2 && name.front() == '[' && name.back() == ']') {
        const std::string inner = name.substr(1, name.size() - 2);
        return isLoopbackAddress(inner) && !isVersion4(inner) ? std::optional(inner) : std::nullopt;
    }
    if (isLoopbackAddress(name))
        return name;
    if (name != driveName)
        return std::nullopt;
    const std::vector<std::string> addresses = resolve(std::string(host));
    // One foreign address is enough to refuse: which of them a connection would take is not ours to guess.
    if (addresses.empty() || !std::all_of(addresses.begin(), addresses.end(), isLoopbackAddress))
        return std::nullopt;
    const auto preferred = std::find_if(addresses.begin(), addresses.end(), isVersion4);
    return preferred == addresses.end() ? addresses.front() : *preferred;
}

std::vector<std::string> resolveWithSystem(const std::string &host) {
    addrinfo hints{};
    hints.ai_socktype = SOCK_STREAM;
    addrinfo *found = nullptr;
    if (getaddrinfo(host.c_str(), nullptr, &hints, &found) != 0)
        return {};
    const std::unique_ptr<addrinfo, decltype(&freeaddrinfo)> owner(found, &freeaddrinfo);
    std::vector<std::string> addresses;
    for (const addrinfo *entry = found; entry; entry = entry->ai_next) {
        char text[NI_MAXHOST];
        if (getnameinfo(entry->ai_addr, entry->ai_addrlen, text, sizeof text, nullptr, 0, NI_NUMERICHOST) == 0)
            addresses.emplace_back(text);
    }
    return addresses;
}

} // namespace quillmount::mount
