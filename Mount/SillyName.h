// SPDX-License-Identifier: LicenseRef-Quillmount
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

namespace quillmount::mount {

// The names under which files live on that were unlinked while still open. They lie in the root of the drive, so that
// the folder they came from can be removed and one listing finds what a crash left behind.
class SillyName {
public:
    // `machine` tells the machines apart that share one drive: each clears up only after itself.
    explicit SillyName(std::string_view machine);

    // The name of a file that is unlinked at `milliseconds` since 1970; `unique` tells those of one moment apart.
    std::string make(std::uint64_t milliseconds, std::uint64_t unique) const;
    // True for a name that this machine made before `milliseconds`. What was made since belongs to a mount that runs.
    bool isLeftover(std::string_view name, std::uint64_t milliseconds) const;
    // True for a name that this machine made.
    bool isOwn(std::string_view name) const;
    // True for a name that any machine made; such names are never shown.
    static bool isHidden(std::string_view name);

private:
    std::string m_prefix;
};

// A text that differs between machines and between users of one machine, and says nothing about either.
std::string machineTag();

} // namespace quillmount::mount
