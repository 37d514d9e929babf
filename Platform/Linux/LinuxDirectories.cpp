// SPDX-License-Identifier: LicenseRef-Quillmount
#include "Platform/Linux/LinuxDirectories.h"

#include <QDir>
#include <QFile>

#include <optional>
#include <pwd.h>
#include <unistd.h>

namespace quillmount {

using namespace Qt::StringLiterals;

namespace {

std::optional<QString> absolutePath(const char *variable) {
    const QString value = qEnvironmentVariable(variable);
    if (!QDir::isAbsolutePath(value))
        return std::nullopt;
    return QDir::cleanPath(value);
}

} // namespace

QString LinuxDirectories::home() const {
    if (const auto home = absolutePath("HOME"))
        return *home;
    // Only programs started without a login see this.
    const passwd *user = ::getpwuid(::getuid());
    return QDir::cleanPath(user ? QFile::decodeName(user->pw_dir) : QDir::homePath());
}

QString LinuxDirectories::applicationSupport() const {
    return absolutePath("XDG_DATA_HOME").value_or(home() + u"/.local/share"_s);
}

QString LinuxDirectories::caches() const {
    return absolutePath("XDG_CACHE_HOME").value_or(home() + u"/.cache"_s);
}

QString LinuxDirectories::library() const {
    return absolutePath("XDG_STATE_HOME").value_or(home() + u"/.local/state"_s);
}

QString LinuxDirectories::configuration() const {
    return absolutePath("XDG_CONFIG_HOME").value_or(home() + u"/.config"_s);
}

QString LinuxDirectories::temporary() const {
    return QDir::cleanPath(QDir::tempPath());
}

} // namespace quillmount
