// SPDX-License-Identifier: LicenseRef-Quillmount
#include "Mount/MountOptions.h"

#include <array>
#include <charconv>
#include <optional>
#include <set>

namespace quillmount::mount {
namespace {

constexpr std::array<std::string_view, 4> flags{"tcp", "locallocks", "nodev", "nosuid"};
constexpr std::array<std::string_view, 4> valued{"port", "mountport", "vers", "deadtimeout"};
constexpr unsigned maxDeadTimeout = 3600;

template <class List>
bool contains(const List &list, std::string_view item) {
    for (const auto &entry : list) {
        if (entry == item)
            return true;
    }
    return false;
}

std::optional<unsigned> number(std::string_view text, unsigned least, unsigned most) {
    unsigned value = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
    if (error != std::errc{} || end != text.data() + text.size() || value < least || value > most)
        return std::nullopt;
    return value;
}

std::string inQuotes(std::string_view text) {
    return "\"" + std::string(text) + "\"";
}

// Takes one `key=value` into `options`; false when the value is not acceptable.
bool takeValue(MountOptions &options, std::string_view key, std::string_view value) {
    if (key == "vers")
        return value == "3";
    if (key == "deadtimeout") {
        const auto seconds = number(value, 1, maxDeadTimeout);
        options.deadTimeout = std::chrono::seconds(seconds.value_or(0));
        return seconds.has_value();
    }
    const auto port = number(value, 1, 65535);
    (key == "port" ? options.port : options.mountPort) = static_cast<std::uint16_t>(port.value_or(0));
    return port.has_value();
}

// Reads the comma-separated list; returns an error message or an empty text.
std::string takeOptionList(MountOptions &options, std::string_view list) {
    std::set<std::string_view> seen;
    while (true) {
        const auto comma = list.find(',');
        const std::string_view item = list.substr(0, comma);
        const auto equals = item.find('=');
        const std::string_view key = item.substr(0, equals);
        const bool isFlag = contains(flags, key);
        if (!isFlag && !contains(valued, key))
            return "unknown option " + inQuotes(item);
        if (!seen.insert(key).second)
            return "option " + inQuotes(key) + " is given twice";
        const bool hasValue = equals != std::string_view::npos;
        if (isFlag == hasValue || (hasValue && !takeValue(options, key, item.substr(equals + 1))))
            return "bad value in option " + inQuotes(item);
        if (comma == std::string_view::npos)
            break;
        list.remove_prefix(comma + 1);
    }
    for (const auto &names : {flags, valued}) {
        for (const auto &name : names) {
            if (!seen.contains(name))
                return "option " + inQuotes(name) + " is missing";
        }
    }
    return {};
}

} // namespace

std::variant<MountOptions, std::string> parseMountOptions(const std::vector<std::string_view> &arguments) {
    if (arguments.size() != 4 || arguments[0] != "-o")
        return std::string("usage: quillmount-mount -o OPTIONS HOST:/ MOUNTPOINT");
    MountOptions options;
    if (std::string message = takeOptionList(options, arguments[1]); !message.empty())
        return message;

    const std::string_view source = arguments[2];
    if (source.size() < 3 || !source.ends_with(":/"))
        return "the source " + inQuotes(source) + " is not of the form HOST:/";
    options.host = source.substr(0, source.size() - 2);
    // The host becomes part of a mount option, in which a comma or a backslash would have a meaning of its own.
    for (const char c : options.host) {
        const bool ordinary = (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9');
        if (!ordinary && std::string_view("-._:[]").find(c) == std::string_view::npos)
            return "the host " + inQuotes(options.host) + " has a character that no host name has";
    }
    options.mountPoint = arguments[3];
    if (options.mountPoint.empty() || options.mountPoint.front() != '/')
        return "the mount point " + inQuotes(options.mountPoint) + " is not an absolute path";
    return options;
}

} // namespace quillmount::mount
