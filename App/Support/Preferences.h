// SPDX-License-Identifier: LicenseRef-Quillmount
#pragma once

#include <QString>

#include <optional>

namespace quillmount {

// The keys of the user defaults, all of them, and the few that have an accessor of their own.
namespace Preferences {

namespace Key {
// Integer, gigabytes of 10^9 bytes; 20 when absent.
inline constexpr QStringView cacheSizeGB = u"cacheSizeGB";
// Boolean; the user declined to set the drive up as a location of the file manager.
inline constexpr QStringView volumeSetupDeclined = u"volumeSetupDeclined";
// String; the address of the account connected.
inline constexpr QStringView accountEmail = u"accountEmail";
// Bytes; the last status of the maker's service.
inline constexpr QStringView serverStatus = u"serverStatus";
// Integer; the notice that the user closed last.
inline constexpr QStringView dismissedBanner = u"dismissedBanner";
} // namespace Key

inline constexpr qint64 defaultCacheSizeGB = 20;

// The stored integer as it is, else the default. No clamp.
[[nodiscard]] qint64 cacheSizeGB();
// Takes effect at the next launch of the engine. A size that cannot be kept is logged, and the old one stays.
void setCacheSizeGB(qint64 size);
// The cache size in bytes. A stored size that is negative, or whose byte count does not fit, is refused: the default is
// used, and it is logged.
[[nodiscard]] qint64 cacheSizeBytes();

[[nodiscard]] bool volumeSetupDeclined();
void setVolumeSetupDeclined(bool declined);

[[nodiscard]] std::optional<QString> accountEmail();
// An absent address removes the key.
void setAccountEmail(const std::optional<QString> &email);

void removeServerStatus();

} // namespace Preferences
} // namespace quillmount
