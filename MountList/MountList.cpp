// SPDX-License-Identifier: LicenseRef-Quillmount
#include "MountList/MountList.h"

#include <cstdlib>
#include <fstream>
#include <memory>
#include <sstream>

namespace quillmount {
namespace {

// The kernel writes blanks, tabs, newlines and backslashes as a backslash and three octal digits.
std::string unescaped(std::string_view text) {
    std::string result;
    for (std::size_t i = 0; i < text.size(); ++i) {
        const auto digit = [&](std::size_t at) { return text[i + at] >= '0' && text[i + at] <= '7'; };
        if (text[i] == '\\' && i + 3 < text.size() && digit(1) && digit(2) && digit(3)) {
            const int value = (text[i + 1] - '0') * 64 + (text[i + 2] - '0') * 8 + (text[i + 3] - '0');
            result.push_back(static_cast<char>(value));
            i += 3;
        } else {
            result.push_back(text[i]);
        }
    }
    return result;
}

std::vector<std::string_view> words(std::string_view line) {
    std::vector<std::string_view> result;
    while (!line.empty()) {
        const auto blank = line.find(' ');
        if (blank != 0)
            result.push_back(line.substr(0, blank));
        if (blank == std::string_view::npos)
            break;
        line.remove_prefix(blank + 1);
    }
    return result;
}

} // namespace

std::vector<MountRecord> parseMountInfo(std::string_view text) {
    std::vector<MountRecord> records;
    while (!text.empty()) {
        const auto newline = text.find('\n');
        const auto fields = words(text.substr(0, newline));
        // id parent major:minor root mount-point options [optional fields …] - type source options
        std::size_t separator = 6;
        while (separator < fields.size() && fields[separator] != "-")
            ++separator;
        if (separator + 2 < fields.size()) {
            MountRecord record;
            record.id = std::atoi(std::string(fields[0]).c_str());
            record.device = fields[2];
            record.mountPoint = unescaped(fields[4]);
            record.fileSystem = unescaped(fields[separator + 1]);
            record.source = unescaped(fields[separator + 2]);
            if (separator + 3 < fields.size())
                record.options = unescaped(fields[separator + 3]);
            records.push_back(std::move(record));
        }
        if (newline == std::string_view::npos)
            break;
        text.remove_prefix(newline + 1);
    }
    return records;
}

std::vector<MountRecord> mountsAt(const std::vector<MountRecord> &records, std::string_view path) {
    std::vector<MountRecord> found;
    for (const auto &record : records) {
        if (record.mountPoint == path)
            found.push_back(record);
    }
    return found;
}

std::optional<std::vector<MountRecord>> currentMounts() {
    std::ifstream file("/proc/self/mountinfo");
    if (!file)
        return std::nullopt;
    std::ostringstream text;
    text << file.rdbuf();
    return parseMountInfo(text.str());
}

std::vector<MountRecord> mountsAt(std::string_view path) {
    const auto mounts = currentMounts();
    return mounts ? mountsAt(*mounts, path) : std::vector<MountRecord>();
}

std::string resolveMountPoint(const std::string &path) {
    std::string trimmed = path;
    while (trimmed.size() > 1 && trimmed.back() == '/')
        trimmed.pop_back();
    const auto slash = trimmed.rfind('/');
    if (slash == std::string::npos)
        return {};
    const std::string name = trimmed.substr(slash + 1);
    if (name.empty() || name == "." || name == "..")
        return {};
    const std::string parent = slash == 0 ? "/" : trimmed.substr(0, slash);
    const std::unique_ptr<char, decltype(&std::free)> resolved(realpath(parent.c_str(), nullptr), &std::free);
    if (!resolved)
        return {};
    const std::string base = resolved.get();
    return base == "/" ? base + name : base + "/" + name;
}

} // namespace quillmount
