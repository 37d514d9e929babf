// SPDX-License-Identifier: LicenseRef-Quillmount
#include "Mount/SillyName.h"

#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <fstream>

namespace quillmount::mount {
namespace {

constexpr std::string_view family = ".nfs-quillmount-";
constexpr std::size_t tagDigits = 16;
constexpr std::size_t uniqueDigits = 16;
constexpr unsigned uniqueBits = 22; // the others hold milliseconds for more than a century

std::string hexadecimal(std::uint64_t value) {
    char text[17];
    std::snprintf(text, sizeof text, "%016llx", static_cast<unsigned long long>(value));
    return text;
}

std::uint64_t hashed(std::string_view text) {
    std::uint64_t hash = 0xcbf29ce484222325U; // FNV-1a: stable between builds, which std::hash is not
    for (const unsigned char c : text)
        hash = (hash ^ c) * 0x100000001b3U;
    return hash;
}

bool isHexadecimal(std::string_view text) {
    return text.find_first_not_of("0123456789abcdef") == std::string_view::npos;
}

} // namespace

SillyName::SillyName(std::string_view machine)
    : m_prefix(std::string(family) + hexadecimal(hashed(machine)) + "-") {}

std::string SillyName::make(std::uint64_t milliseconds, std::uint64_t unique) const {
    return m_prefix + hexadecimal(milliseconds << uniqueBits | (unique & ((1U << uniqueBits) - 1)));
}

bool SillyName::isLeftover(std::string_view name, std::uint64_t milliseconds) const {
    if (!isOwn(name))
        return false;
    const std::string digits(name.substr(name.size() - uniqueDigits));
    return std::strtoull(digits.c_str(), nullptr, 16) >> uniqueBits < milliseconds;
}

bool SillyName::isOwn(std::string_view name) const {
    return isHidden(name) && name.starts_with(m_prefix);
}

bool SillyName::isHidden(std::string_view name) {
    if (name.size() != family.size() + tagDigits + 1 + uniqueDigits || !name.starts_with(family))
        return false;
    const std::string_view rest = name.substr(family.size());
    return rest[tagDigits] == '-' && isHexadecimal(rest.substr(0, tagDigits)) &&
           isHexadecimal(rest.substr(tagDigits + 1));
}

std::string machineTag() {
    std::ifstream file("/etc/machine-id");
    std::string id;
    file >> id;
    if (id.empty()) {
        char name[256] = {};
        gethostname(name, sizeof name - 1);
        id = name;
    }
    return id + ":" + std::to_string(getuid());
}

} // namespace quillmount::mount
