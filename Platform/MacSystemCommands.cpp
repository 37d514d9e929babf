// SPDX-License-Identifier: LicenseRef-Quillmount
#include "Platform/MacSystemCommands.h"

namespace quillmount {

using namespace Qt::StringLiterals;

QString nfsMountOptions(quint16 port) {
    return u"port=%1,mountport=%1,tcp,vers=3,locallocks,nodev,nosuid,deadtimeout=30"_s.arg(port);
}

Command MacSystemCommands::mount(quint16 port, const QString &host, const QString &mountPoint) const {
    return {u"/sbin/mount_nfs"_s, {u"-o"_s, nfsMountOptions(port), host + u":/"_s, mountPoint}};
}

Command MacSystemCommands::unmount(const QString &mountPoint) const {
    return {u"/sbin/umount"_s, {mountPoint}};
}

QList<Command> MacSystemCommands::endMountServer(const QString & /*mountPoint*/) const {
    return {}; // the system's own client serves the mount
}

QList<Command> MacSystemCommands::forcedUnmount(const QString &mountPoint) const {
    return {{u"/sbin/umount"_s, {u"-f"_s, mountPoint}}};
}

Command MacSystemCommands::findEngines(const EngineIdentity &engine) const {
    return {u"/usr/bin/pgrep"_s, {u"-f"_s, engine.executable}};
}

QList<Command> MacSystemCommands::endEngines(const EngineIdentity &engine) const {
    return {{u"/usr/bin/pkill"_s, {u"-KILL"_s, u"-f"_s, engine.executable}}};
}

} // namespace quillmount
