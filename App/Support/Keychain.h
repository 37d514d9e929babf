// SPDX-License-Identifier: LicenseRef-Quillmount
#pragma once

#include <QString>

#include <optional>

namespace quillmount {

// Short texts among the user's passwords, by name ("installID", "installToken"). May be called from any thread. There
// are no errors: what cannot be read is not there, and what cannot be written leaves no item.
namespace Keychain {

[[nodiscard]] std::optional<QString> get(const QString &account);

// Absent removes the item. Never a change in place: between the removal and the new item, `get` on another thread can
// see none.
void set(const std::optional<QString> &value, const QString &account);

} // namespace Keychain
} // namespace quillmount
