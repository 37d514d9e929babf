// SPDX-License-Identifier: LicenseRef-Quillmount
#pragma once

#include <QProcessEnvironment>
#include <QString>
#include <QStringList>

namespace quillmount {

// What one launch of the engine needs. Nothing here is kept beyond the launch.
struct EngineLaunch {
    quint16 remoteControlPort = 0;
    QString remoteControlUser;
    QString remoteControlPassword;
    quint16 nfsPort = 0;

    // Two free ports and new credentials.
    [[nodiscard]] static EngineLaunch prepare();

    // The engine's arguments. The pending uploads lie in a cache folder whose name depends on them: they stay as they
    // are, byte for byte.
    [[nodiscard]] QStringList arguments() const;

    // `inherited` without the variables that would configure the engine behind our back, and with those that it needs.
    // A variable with QUILLMOUNT_ENGINE_ before its name is for the engine alone (QUILLMOUNT_ENGINE_HTTPS_PROXY becomes
    // its HTTPS_PROXY): neither the application nor the browser that it opens goes by it.
    [[nodiscard]] QProcessEnvironment environment(const QProcessEnvironment &inherited) const;
};

} // namespace quillmount
