// SPDX-License-Identifier: LicenseRef-Quillmount
#pragma once

#include "Platform/SystemCommands.h"

namespace quillmount {

// The commands as macOS has them. Plain data, so it is built and compared on every system.
class MacSystemCommands final : public SystemCommands {
public:
    [[nodiscard]] Command mount(quint16 port, const QString &host, const QString &mountPoint) const override;
    [[nodiscard]] Command unmount(const QString &mountPoint) const override;
    [[nodiscard]] QList<Command> endMountServer(const QString &mountPoint) const override;
    [[nodiscard]] QList<Command> forcedUnmount(const QString &mountPoint) const override;
    [[nodiscard]] Command findEngines(const EngineIdentity &engine) const override;
    [[nodiscard]] QList<Command> endEngines(const EngineIdentity &engine) const override;
};

// The options of the NFS mount, the same on every system.
[[nodiscard]] QString nfsMountOptions(quint16 port);

} // namespace quillmount
