// SPDX-License-Identifier: LicenseRef-Quillmount
#include "Platform/Linux/LinuxSystemCommands.h"

#include "Platform/MacSystemCommands.h"

#include <unistd.h>

namespace quillmount {

using namespace Qt::StringLiterals;

namespace {

// In a process group of its own: a Ctrl+C in the terminal does not reach it, and what it started is killed with it. A
// program that went into a session of its own lives on, as the one that serves a mount does.
Command bounded(int seconds, const QStringList &command) {
    return {u"/usr/bin/timeout"_s, QStringList{u"--signal=KILL"_s, QString::number(seconds)} + command};
}

// A POSIX extended regular expression for `text` as pgrep shows it: one character stands for each control character,
// and question marks for whatever the C library does not call printable.
QString literal(const QString &text) {
    QString pattern;
    for (const char32_t c : text.toUcs4()) {
        const QString character = QString::fromUcs4(&c, 1);
        if (c < 0x20 || c == 0x7f)
            pattern += u'.';
        else if (c > 0x7f)
            pattern += u'(' + character + u"|\\?+)"_s;
        else if (u".[]{}()*+?^$|\\"_s.contains(character))
            pattern += u'\\' + character;
        else
            pattern += character;
    }
    return pattern;
}

// pgrep or pkill over the processes of this user whose command line, its arguments joined by spaces, matches. The
// locale decides how it reads the command lines; C.UTF-8 shows them as they are and is there without being generated.
QStringList matching(const QStringList &program, const QString &pattern) {
    return QStringList{u"/usr/bin/env"_s, u"LC_ALL=C.UTF-8"_s} + program +
           QStringList{u"-u"_s, QString::number(::geteuid()), u"-U"_s, QString::number(::getuid()), u"-f"_s, u"--"_s,
                       pattern};
}

// The start of the command line of a program: `path` itself, or the same name in another folder. Anchored, and without
// a blank that a dash follows, so that a shell or an editor that merely names the program is not taken for it.
QString programPattern(const QString &path) {
    const QString name = path.section(u'/', -1);
    return u"^("_s + literal(path) + u"|/([^ ]| [^-])*/"_s + literal(name) + u')';
}

QString enginePattern(const EngineIdentity &engine) {
    return programPattern(engine.executable) + u" serve nfs (.* )?--config "_s + literal(engine.configuration) +
           u"( |$)"_s;
}

QString mountServerPattern(const QString &program, const QString &mountPoint) {
    return programPattern(program) + u" -o [^ ]+ [^ ]+:/ "_s + literal(mountPoint) + u'$';
}

// Asks the processes that match to end, and waits for that.
QList<Command> end(int seconds, const QString &pattern) {
    return {bounded(2, matching({u"/usr/bin/pkill"_s, u"-TERM"_s}, pattern)),
            bounded(seconds, matching({u"/usr/bin/pidwait"_s}, pattern))};
}

} // namespace

LinuxSystemCommands::LinuxSystemCommands(const QString &mountProgram, const QByteArray &tag)
    : m_mountProgram(mountProgram)
    , m_tag(QString::fromLatin1(tag)) {}

Command LinuxSystemCommands::mount(quint16 port, const QString &host, const QString &mountPoint) const {
    const QStringList mark =
        m_tag.isEmpty() ? QStringList() : QStringList{u"/usr/bin/env"_s, u"QUILLMOUNT_DRIVE="_s + m_tag};
    return bounded(20, mark + QStringList{m_mountProgram, u"-o"_s, nfsMountOptions(port), host + u":/"_s, mountPoint});
}

Command LinuxSystemCommands::unmount(const QString &mountPoint) const {
    return bounded(6, {u"/usr/bin/fusermount3"_s, u"-u"_s, mountPoint});
}

QList<Command> LinuxSystemCommands::endMountServer(const QString &mountPoint) const {
    return end(3, mountServerPattern(m_mountProgram, mountPoint));
}

QList<Command> LinuxSystemCommands::forcedUnmount(const QString &mountPoint) const {
    return {bounded(4, {u"/usr/bin/fusermount3"_s, u"-u"_s, u"-z"_s, mountPoint}),
            bounded(2, matching({u"/usr/bin/pkill"_s, u"-KILL"_s}, mountServerPattern(m_mountProgram, mountPoint)))};
}

Command LinuxSystemCommands::findEngines(const EngineIdentity &engine) const {
    return bounded(10, matching({u"/usr/bin/pgrep"_s}, enginePattern(engine)));
}

QList<Command> LinuxSystemCommands::endEngines(const EngineIdentity &engine) const {
    const QString pattern = enginePattern(engine);
    return end(5, pattern) + QList<Command>{bounded(2, matching({u"/usr/bin/pkill"_s, u"-KILL"_s}, pattern)),
                                            bounded(2, matching({u"/usr/bin/pidwait"_s}, pattern))};
}

} // namespace quillmount
