// SPDX-License-Identifier: LicenseRef-Quillmount
#pragma once

#include <QByteArray>
#include <QString>

namespace quillmount {

// The whole content of a file, or "(no such file)", which no test writes.
QByteArray contentOf(const QString &path);

// Writes a file whole, in a folder that is made for it where it is missing; throws std::runtime_error.
void putFile(const QString &path, const QByteArray &content);
// The same with a program for the shell, which the owner may run; its path.
QString putProgram(const QString &path, const QByteArray &script);

// Bytes that repeat only after a long while, so that a block in the wrong place is noticed.
QByteArray patterned(qsizetype size);

} // namespace quillmount
