// SPDX-License-Identifier: LicenseRef-Quillmount
#pragma once

#include <QList>
#include <QString>
#include <QStringList>

namespace quillmount {

// A command of the system: an absolute path and its arguments, run without a shell.
struct Command {
    QString executable;
    QStringList arguments;

    friend bool operator==(const Command &, const Command &) = default;
};

// Which engine a command is about: its executable and the configuration file that it was started with.
struct EngineIdentity {
    QString executable;
    QString configuration;
};

// The table of system commands. It says what to run; it runs nothing.
class SystemCommands {
public:
    virtual ~SystemCommands() = default;

    // Mounts the NFS server on loopback port `port`, which goes by the name `host`. Exit status 0 only when mounted.
    [[nodiscard]] virtual Command mount(quint16 port, const QString &host, const QString &mountPoint) const = 0;
    // Fails when the mount is in use.
    [[nodiscard]] virtual Command unmount(const QString &mountPoint) const = 0;
    // Asks the program that serves the mount to settle what was written and to end, and gives it three seconds for
    // that. To be run one after the other; empty where no program of ours serves it.
    [[nodiscard]] virtual QList<Command> endMountServer(const QString &mountPoint) const = 0;
    // Removes the mount whoever uses it. To be run one after the other.
    [[nodiscard]] virtual QList<Command> forcedUnmount(const QString &mountPoint) const = 0;
    // Exit status 0 when an engine of this identity runs, 1 when none does; anything else tells nothing.
    [[nodiscard]] virtual Command findEngines(const EngineIdentity &engine) const = 0;
    // Ends the engines of this identity. To be run one after the other.
    [[nodiscard]] virtual QList<Command> endEngines(const EngineIdentity &engine) const = 0;
};

} // namespace quillmount
