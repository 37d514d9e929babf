// SPDX-License-Identifier: LicenseRef-Quillmount
#include "Platform/Testing/ScriptedSystemCommands.h"

namespace quillmount {

using namespace Qt::StringLiterals;

namespace {
Command followedBy(const Command &command, const QStringList &parameters) {
    return {command.executable, command.arguments + parameters};
}
} // namespace

Command ScriptedSystemCommands::mount(quint16 port, const QString &host, const QString &mountPoint) const {
    return followedBy(m_mount, {QString::number(port), host, mountPoint});
}

Command ScriptedSystemCommands::unmount(const QString &mountPoint) const {
    return followedBy(m_unmount, {mountPoint});
}

QList<Command> ScriptedSystemCommands::endMountServer(const QString &mountPoint) const {
    return {followedBy(m_endMountServer, {mountPoint})};
}

QList<Command> ScriptedSystemCommands::forcedUnmount(const QString &mountPoint) const {
    return {followedBy(m_forcedUnmount, {mountPoint})};
}

Command ScriptedSystemCommands::findEngines(const EngineIdentity &engine) const {
    return followedBy(m_findEngines, {engine.executable, engine.configuration});
}

QList<Command> ScriptedSystemCommands::endEngines(const EngineIdentity &engine) const {
    return {followedBy(m_endEngines, {engine.executable, engine.configuration})};
}

Command ScriptedSystemCommands::script(const QString &code) {
    return {u"/bin/sh"_s, {u"-c"_s, code, u"sh"_s}};
}

Command ScriptedSystemCommands::logged(const QString &log, const QString &name, int status) {
    const QString code = u"printf '%s\\n' \"$*\" >> \"$0\"; exit %1"_s.arg(status);
    return {u"/bin/sh"_s, {u"-c"_s, code, log, name}};
}

Command ScriptedSystemCommands::succeeding() {
    return {u"/bin/true"_s, {}};
}

Command ScriptedSystemCommands::failing() {
    return {u"/bin/false"_s, {}};
}

} // namespace quillmount
