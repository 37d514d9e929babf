// SPDX-License-Identifier: LicenseRef-Quillmount
#pragma once

#include <QByteArray>
#include <QList>
#include <QString>

#include <optional>

namespace quillmount {

// The mount points in a text of the form of /proc/self/mountinfo, as the bytes that the kernel knows. Lines of another
// form are left out.
[[nodiscard]] QList<QByteArray> mountPoints(const QByteArray &mountInfo);

// The type of the file system that was mounted last at that mount point; absent when there is none.
[[nodiscard]] std::optional<QByteArray> fileSystemAt(const QByteArray &mountInfo, const QByteArray &mountPointName);
[[nodiscard]] std::optional<QByteArray> fileSystemAt(const QByteArray &mountPointName);

// The name that the kernel's list gives to a mount on `path`: its parent without symbolic links, and its own last
// component, which is not looked at. Absent when there is no such parent.
[[nodiscard]] std::optional<QByteArray> mountPointName(const QString &path);

// Whether the kernel lists a mount of that name; absent when the list cannot be read.
[[nodiscard]] std::optional<bool> isListed(const QByteArray &mountPointName);

} // namespace quillmount
