// SPDX-License-Identifier: LicenseRef-Quillmount
#include "Platform/Linux/LinuxLoginItems.h"

#include "Platform/Linux/PlatformLog.h"
#include "Platform/Linux/PrivateFolder.h"
#include "Platform/PlatformError.h"

#include <QFile>
#include <QFileInfo>
#include <QHash>
#include <QSaveFile>
#include <QStandardPaths>

namespace quillmount {

using namespace Qt::StringLiterals;

namespace {

// A value of the type "string" in a desktop entry.
QString escaped(const QString &text) {
    QString result;
    for (const QChar c : text) {
        if (c == u'\\')
            result += u"\\\\"_s;
        else if (c == u'\n')
            result += u"\\n"_s;
        else if (c == u'\t')
            result += u"\\t"_s;
        else if (c == u'\r')
            result += u"\\r"_s;
        else if (c == u' ' && result.isEmpty())
            result += u"\\s"_s;
        else
            result += c;
    }
    return result;
}

QString unescaped(const QString &text) {
    static const QHash<QChar, QChar> meanings = {
        {u's', u' '}, {u'n', u'\n'}, {u't', u'\t'}, {u'r', u'\r'}, {u'\\', u'\\'}};
    QString result;
    for (qsizetype i = 0; i < text.size(); ++i) {
        if (text[i] == u'\\' && i + 1 < text.size() && meanings.contains(text[i + 1]))
            result += meanings.value(text[++i]);
        else
            result += text[i];
    }
    return result;
}

// One argument of Exec. Quoted and with its field codes taken away, before it is escaped like any other string.
QString quoted(const QString &argument) {
    QString result;
    for (const QChar c : argument) {
        if (u"\"`$\\"_s.contains(c))
            result += u'\\';
        else if (c == u'%')
            result += u'%';
        result += c;
    }
    return u'"' + result + u'"';
}

// The whole of Exec. Some launchers look for the program before they resolve its field codes, and none may take one
// with an equals sign in its name: a shell stands in front of such a program.
QString commandLine(const QString &executable) {
    const QString command = quoted(executable) + u" --background"_s;
    if (executable.contains(u'%') || executable.contains(u'='))
        return u"/bin/sh -c "_s + quoted(u"exec \"$0\" \"$@\""_s) + u' ' + command;
    return command;
}

QHash<QString, QString> entryValues(const QString &path) {
    QHash<QString, QString> values;
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly))
        return values;
    bool inEntry = false;
    const QStringList lines = QString::fromUtf8(file.readAll()).split(u'\n');
    for (const QString &line : lines) {
        if (line.startsWith(u'['))
            inEntry = line.trimmed() == "[Desktop Entry]"_L1;
        else if (const qsizetype equals = line.indexOf(u'='); inEntry && equals > 0 && !line.startsWith(u'#'))
            values.insert(line.first(equals).trimmed(), unescaped(line.sliced(equals + 1).trimmed()));
    }
    return values;
}

// Whether a desktop shows the entry: the first of its names that a list has decides.
bool isForThisDesktop(const QHash<QString, QString> &values) {
    const auto list = [&](const QString &key) { return values.value(key).split(u';', Qt::SkipEmptyParts); };
    const QStringList only = list(u"OnlyShowIn"_s);
    const QStringList never = list(u"NotShowIn"_s);
    const QStringList names = qEnvironmentVariable("XDG_CURRENT_DESKTOP").split(u':', Qt::SkipEmptyParts);
    for (const QString &name : names)
        if (only.contains(name) || never.contains(name))
            return only.contains(name);
    return only.isEmpty();
}

// All but whether the program is there.
bool isSwitchedOn(const QHash<QString, QString> &values) {
    return values.contains(u"Exec"_s) && values.value(u"Hidden"_s) != "true"_L1 &&
           values.value(u"X-GNOME-Autostart-enabled"_s) != "false"_L1 &&
           values.value(u"X-MATE-Autostart-enabled"_s) != "false"_L1 && isForThisDesktop(values);
}

bool hasItsProgram(const QHash<QString, QString> &values) {
    const QString program = values.value(u"TryExec"_s);
    return program.isEmpty() || !QStandardPaths::findExecutable(program).isEmpty();
}

} // namespace

LinuxLoginItems::LinuxLoginItems(const QString &configuration, const QString &executable)
    : m_folder(configuration + u"/autostart"_s)
    , m_file(m_folder + u"/com.orvane.quillmount.desktop"_s)
    , m_executable(executable) {}

QByteArray LinuxLoginItems::entry() const {
    const QStringList lines = {
        u"[Desktop Entry]"_s,
        u"Type=Application"_s,
        u"Name=Quillmount"_s,
        u"Exec="_s + escaped(commandLine(m_executable)),
        u"TryExec="_s + escaped(m_executable),
        u"Icon=com.orvane.quillmount"_s,
        u"Terminal=false"_s,
        u"X-GNOME-Autostart-enabled=true"_s,
        {},
    };
    return lines.join(u'\n').toUtf8();
}

void LinuxLoginItems::setEnabled(bool on) {
    if (!on) {
        QFile file(m_file);
        // A link to nowhere is removed too.
        const QFileInfo info(m_file);
        if ((info.exists() || info.isSymLink()) && !file.remove())
            throw PlatformError(file.errorString());
        return;
    }
    if (!makePrivateFolder(m_folder))
        throw PlatformError(systemError());
    QSaveFile file(m_file);
    const QByteArray text = entry();
    if (!file.open(QIODevice::WriteOnly) || file.write(text) != text.size() || !file.commit())
        throw PlatformError(file.errorString());
}

bool LinuxLoginItems::isEnabled() const {
    const auto values = entryValues(m_file);
    return isSwitchedOn(values) && hasItsProgram(values);
}

void LinuxLoginItems::repair() {
    const auto values = entryValues(m_file);
    if (isSwitchedOn(values) && !hasItsProgram(values))
        setEnabled(true);
}

} // namespace quillmount
