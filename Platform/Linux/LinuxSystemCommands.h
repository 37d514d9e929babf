// SPDX-License-Identifier: LicenseRef-Quillmount
#pragma once

#include "Platform/SystemCommands.h"

namespace quillmount {

// The commands as Linux has them. Each is killed when it takes too long, so that none acts on a later mount.
class LinuxSystemCommands final : public SystemCommands {
public:
    // `mountProgram` is the absolute path of the program that mounts; `tag` is what its mounts carry (see DriveTag).
    explicit LinuxSystemCommands(const QString &mountProgram, const QByteArray &tag = {});

    [[nodiscard]] Command mount(quint16 port, const QString &host, const QString &mountPoint) const override;
    [[nodiscard]] Command unmount(const QString &mountPoint) const override;
    [[nodiscard]] QList<Command> endMountServer(const QString &mountPoint) const override;
    // Detaches the mount at once, then ends the process that serves it, which frees those who wait for it.
    [[nodiscard]] QList<Command> forcedUnmount(const QString &mountPoint) const override;
    // Engines of this user alone that were started with this very configuration, from whatever folder: an update or a
    // second checkout must not leave two on one cache.
    [[nodiscard]] Command findEngines(const EngineIdentity &engine) const override;
    // Asks them to end, which they get five seconds for, before it kills them.
    [[nodiscard]] QList<Command> endEngines(const EngineIdentity &engine) const override;

private:
    QString m_mountProgram;
    QString m_tag;
};

} // namespace quillmount
