// SPDX-License-Identifier: LicenseRef-Quillmount
#pragma once

#include <QObject>
#include <QStringList>

#include <memory>

namespace quillmount {

// Watches one mount for what happens to it behind the application's back. It sends at most one of its signals, once and
// never from inside a call that makes it; an unmount by the application counts too, so the watch is destroyed before.
class MountWatch : public QObject {
    Q_OBJECT

public:
    using QObject::QObject;

    // Called at each poll of the drive: a process that serves the mount and was stopped (not ended) is set going again.
    virtual void tend() = 0;

Q_SIGNALS:
    // The mount is no longer in the system's list, whether or not the process that served it has ended as well.
    void unmounted();
    // The process that serves the mount has ended while the mount is still listed.
    void serverGone();
};

// The system's list of mounted file systems, read without touching any of them.
class MountTable {
public:
    virtual ~MountTable() = default;

    // True when `path` is the mount-on directory of a record, compared exactly. Only the parent of `path` is resolved.
    [[nodiscard]] virtual bool isMounted(const QString &path) const = 0;
    // True when what is mounted there, uppermost, is no drive of this application's.
    [[nodiscard]] virtual bool isForeign(const QString &path) const = 0;
    // Starts to watch a path that is mounted now.
    [[nodiscard]] virtual std::unique_ptr<MountWatch> watch(const QString &path) = 0;
};

} // namespace quillmount
