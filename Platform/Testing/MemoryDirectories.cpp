// SPDX-License-Identifier: LicenseRef-Quillmount
#include "Platform/Testing/MemoryDirectories.h"

#include <QDir>

namespace quillmount {

using namespace Qt::StringLiterals;

MemoryDirectories::MemoryDirectories()
    : m_root(QDir(m_folder.path()).canonicalPath()) {
    if (!m_folder.isValid() || !QDir().mkpath(home()) || !QDir().mkpath(temporary()))
        qFatal("no temporary home: %s", qPrintable(m_folder.errorString()));
}

QString MemoryDirectories::applicationSupport() const {
    return library() + u"/Application Support"_s;
}

QString MemoryDirectories::caches() const {
    return library() + u"/Caches"_s;
}

QString MemoryDirectories::library() const {
    return home() + u"/Library"_s;
}

QString MemoryDirectories::home() const {
    return m_root + u"/home"_s;
}

QString MemoryDirectories::temporary() const {
    return m_root + u"/temporary"_s;
}

} // namespace quillmount
