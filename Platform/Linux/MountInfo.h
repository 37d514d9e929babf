// SPDX-License-Identifier: LicenseRef-Quillmount
#pragma once

#include "MountList/MountList.h"

#include <QByteArray>
#include <QString>

#include <optional>

namespace quillmount {

// Questions to the kernel's list of mounts in the toolkit's types (see MountList).

// The name that the kernel's list gives to a mount on `path`: its parent without symbolic links, and its own last
// component, which is not looked at. Absent when there is no such parent.
[[nodiscard]] std::optional<QByteArray> mountPointName(const QString &path);

// Whether the kernel lists a mount of that name; absent when the list cannot be read.
[[nodiscard]] std::optional<bool> isListed(const QByteArray &mountPointName);

// What was mounted last at that mount point; absent when there is nothing.
[[nodiscard]] std::optional<MountRecord> uppermostAt(const QByteArray &mountPointName);

} // namespace quillmount
