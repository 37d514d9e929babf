// SPDX-License-Identifier: LicenseRef-Quillmount
#include "Tests/EndToEnd/ProcessTable.h"

#include <QDir>
#include <QFile>

namespace quillmount {

using namespace Qt::StringLiterals;

namespace {

// The parts of a file in which each part has its end mark. Empty when it may not be read, or its process has ended.
QByteArrayList parts(const QString &path) {
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly))
        return {};
    QByteArrayList result = file.readAll().split('\0');
    result.removeLast();
    return result;
}

} // namespace

QByteArray ProcessInfo::program() const {
    const QByteArray first = arguments.value(0);
    return first.mid(first.lastIndexOf('/') + 1);
}

QByteArray ProcessInfo::description() const {
    return QByteArray::number(pid) + ": " + arguments.join(' ');
}

QList<ProcessInfo> processesOf(const QByteArray &home) {
    QList<ProcessInfo> found;
    const QStringList entries = QDir(u"/proc"_s).entryList(QDir::Dirs | QDir::NoDotAndDotDot, QDir::Unsorted);
    for (const QString &entry : entries) {
        ProcessInfo process{.pid = entry.toInt(), .arguments = {}, .environment = {}};
        if (process.pid == 0)
            continue;
        const QByteArrayList variables = parts(u"/proc/"_s + entry + u"/environ"_s);
        if (!variables.contains("HOME=" + home))
            continue;
        for (const QByteArray &variable : variables) {
            const qsizetype end = variable.indexOf('=');
            process.environment.insert(variable.first(std::max<qsizetype>(end, 0)), variable.mid(end + 1));
        }
        process.arguments = parts(u"/proc/"_s + entry + u"/cmdline"_s);
        found.append(process);
    }
    return found;
}

} // namespace quillmount
