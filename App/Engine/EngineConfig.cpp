// SPDX-License-Identifier: LicenseRef-Quillmount
#include "App/Engine/EngineConfig.h"

#include "App/Support/Credentials.h"
#include "App/Support/Paths.h"

#include <QFile>
#include <QFileInfo>
#include <QJsonDocument>
#include <QJsonObject>
#include <QLoggingCategory>
#include <QUuid>

#include <cstdio>
#include <fcntl.h>
#include <unistd.h>

namespace quillmount {

using namespace Qt::StringLiterals;

namespace {

Q_LOGGING_CATEGORY(log, "quillmount.account")

constexpr QFile::Permissions ownerOnly = QFile::ReadOwner | QFile::WriteOwner;
constexpr QByteArrayView tokenKey = "token = ";

QByteArray configurationText(const QString &token) {
    const auto credentials = Credentials::current();
    return "[drive]\n"
           "type = drive\n"
           "client_id = " +
           credentials.clientID.toUtf8() +
           "\n"
           "client_secret = " +
           credentials.clientSecret.toUtf8() +
           "\n"
           "scope = drive.file\n" +
           tokenKey.toByteArray() + token.toUtf8() + "\n";
}

// The file must not exist yet. On disk, not only in the system's cache, when this returns true.
bool createFile(const QString &path, const QByteArray &contents) {
    QFile file(path);
    if (!file.open(QIODevice::WriteOnly | QIODevice::NewOnly, ownerOnly))
        return false;
    return file.write(contents) == contents.size() && file.flush() && fsync(file.handle()) == 0;
}

// A renamed file has its new name for good only when its folder is on disk.
bool syncFolder(const QString &path) {
    const int folder = open(QFile::encodeName(path).constData(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    const bool synced = folder >= 0 && fsync(folder) == 0;
    if (folder >= 0)
        close(folder);
    return synced;
}

} // namespace

QString EngineConfig::ConfigError::description() const {
    return u"Quillmount couldn't save your account. Please try again."_s;
}

QCoro::Task<> EngineConfig::write(QString token) {
    Paths::ensureDirectories();
    const QString path = Paths::engineConfig();
    const QString temporary =
        QFileInfo(path).path() + u"/.engine.conf."_s + QUuid::createUuid().toString(QUuid::WithoutBraces).toUpper();
    const bool written =
        createFile(temporary, configurationText(token)) &&
        std::rename(QFile::encodeName(temporary).constData(), QFile::encodeName(path).constData()) == 0 &&
        QFile::setPermissions(path, ownerOnly);
    if (written && !syncFolder(QFileInfo(path).path()))
        qCWarning(log, "the folder of the engine's configuration could not be synced");
    if (!written) {
        QFile::remove(temporary);
        throw ConfigError(ConfigError::writeFailed);
    }
    co_return;
}

void EngineConfig::remove() {
    QFile::remove(Paths::engineConfig());
}

std::optional<QString> EngineConfig::refreshToken() {
    QFile file(Paths::engineConfig());
    if (!file.open(QIODevice::ReadOnly))
        return std::nullopt;
    const QList<QByteArray> lines = file.readAll().split('\n');
    for (const QByteArray &line : lines) {
        if (!line.startsWith(tokenKey))
            continue;
        const QJsonValue token = QJsonDocument::fromJson(line.mid(tokenKey.size())).object().value("refresh_token"_L1);
        return token.isString() ? std::optional(token.toString()) : std::nullopt;
    }
    return std::nullopt;
}

} // namespace quillmount
