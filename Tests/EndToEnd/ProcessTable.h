// SPDX-License-Identifier: LicenseRef-Quillmount
#pragma once

#include <QByteArrayList>
#include <QList>
#include <QMap>

#include <sys/types.h>

namespace quillmount {

// What the kernel tells about one process.
struct ProcessInfo {
    pid_t pid = 0;
    QByteArrayList arguments;
    QMap<QByteArray, QByteArray> environment;

    // The last part of the first argument.
    [[nodiscard]] QByteArray program() const;
    // All of it in one line, for messages.
    [[nodiscard]] QByteArray description() const;
};

// The processes whose variable HOME is exactly `home`, zombies excepted. It finds those that left their parent, too,
// and none of anybody else.
[[nodiscard]] QList<ProcessInfo> processesOf(const QByteArray &home);

} // namespace quillmount
