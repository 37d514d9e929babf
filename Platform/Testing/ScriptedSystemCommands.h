// SPDX-License-Identifier: LicenseRef-Quillmount
#pragma once

#include "Platform/SystemCommands.h"

namespace quillmount {

// Commands that a test chooses. They really run: each is the command that was set, followed by what it is about, so
// that a script sees it as its parameters:
//   mount PORT HOST MOUNTPOINT, unmount, end of the server and forced unmount MOUNTPOINT, find and end engines
//   EXECUTABLE CONFIGURATION.
// At first everything succeeds and no engine runs.
class ScriptedSystemCommands final : public SystemCommands {
public:
    [[nodiscard]] Command mount(quint16 port, const QString &host, const QString &mountPoint) const override;
    [[nodiscard]] Command unmount(const QString &mountPoint) const override;
    [[nodiscard]] QList<Command> endMountServer(const QString &mountPoint) const override;
    [[nodiscard]] QList<Command> forcedUnmount(const QString &mountPoint) const override;
    [[nodiscard]] Command findEngines(const EngineIdentity &engine) const override;
    [[nodiscard]] QList<Command> endEngines(const EngineIdentity &engine) const override;

    void setMount(const Command &command) { m_mount = command; }
    void setUnmount(const Command &command) { m_unmount = command; }
    void setEndMountServer(const Command &command) { m_endMountServer = command; }
    void setForcedUnmount(const Command &command) { m_forcedUnmount = command; }
    void setFindEngines(const Command &command) { m_findEngines = command; }
    void setEndEngines(const Command &command) { m_endEngines = command; }

    // Shell code, with $1, $2, … as said above.
    [[nodiscard]] static Command script(const QString &code);

    // Adds one line, `name` and the parameters with a space before each, to the file `log`, then ends with `status`.
    [[nodiscard]] static Command logged(const QString &log, const QString &name, int status = 0);

private:
    Command m_mount = succeeding();
    Command m_unmount = succeeding();
    Command m_endMountServer = succeeding();
    Command m_forcedUnmount = succeeding();
    Command m_findEngines = failing();
    Command m_endEngines = failing();

    [[nodiscard]] static Command succeeding();
    [[nodiscard]] static Command failing();
};

} // namespace quillmount
