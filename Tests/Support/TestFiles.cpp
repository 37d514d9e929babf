// SPDX-License-Identifier: LicenseRef-Quillmount
#include "TestFiles.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>

#include <stdexcept>

namespace quillmount {

QByteArray contentOf(const QString &path) {
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray("(no such file)");
}

void putFile(const QString &path, const QByteArray &content) {
    QDir().mkpath(QFileInfo(path).path());
    QFile file(path);
    if (!file.open(QIODevice::WriteOnly) || file.write(content) != content.size())
        throw std::runtime_error("cannot write " + path.toStdString());
}

QString putProgram(const QString &path, const QByteArray &script) {
    putFile(path, "#!/bin/sh\n" + script + '\n');
    if (!QFile::setPermissions(path, QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner))
        throw std::runtime_error("cannot make a program of " + path.toStdString());
    return path;
}

QByteArray patterned(qsizetype size) {
    QByteArray content(size, Qt::Uninitialized);
    for (qsizetype i = 0; i < size; ++i)
        content[i] = char(i * 7 + i / 251 + i / 65'537);
    return content;
}

} // namespace quillmount
