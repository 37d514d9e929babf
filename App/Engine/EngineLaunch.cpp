// SPDX-License-Identifier: LicenseRef-Quillmount
#include "App/Engine/EngineLaunch.h"

#include "App/Engine/Ports.h"
#include "App/Support/Brand.h"
#include "App/Support/Paths.h"
#include "App/Support/Preferences.h"
#include "App/Support/Secrets.h"
#include "Platform/Platform.h"

namespace quillmount {

using namespace Qt::StringLiterals;

namespace {

constexpr auto engineOnly = "QUILLMOUNT_ENGINE_"_L1;

void handOver(QProcessEnvironment &environment) {
    const QStringList names = environment.keys();
    for (const QString &name : names) {
        if (!name.startsWith(engineOnly))
            continue;
        const QString value = environment.value(name);
        environment.remove(name);
        environment.insert(name.mid(engineOnly.size()), value);
    }
}

} // namespace

EngineLaunch EngineLaunch::prepare() {
    EngineLaunch launch;
    launch.remoteControlPort = Ports::free();
    launch.remoteControlUser = Secrets::random(24);
    launch.remoteControlPassword = Secrets::random(24);
    // The system may name the same port twice, but not for long unless it has no other to give.
    constexpr int attempts = 10;
    launch.nfsPort = Ports::free();
    for (int attempt = 0; attempt < attempts && launch.nfsPort == launch.remoteControlPort; ++attempt)
        launch.nfsPort = Ports::free();
    return launch;
}

QStringList EngineLaunch::arguments() const {
    const auto loopback = [](quint16 port) { return u"127.0.0.1:%1"_s.arg(port); };
    // clang-format off: one option a line
    return {
        u"serve"_s,
        u"nfs"_s,
        u"drive:Quillmount"_s,
        u"--addr"_s,
        loopback(nfsPort),
        u"--config"_s,
        Paths::engineConfig(),
        u"--cache-dir"_s,
        Paths::cacheDirectory(),
        u"--vfs-cache-mode"_s,
        u"full"_s,
        u"--vfs-cache-max-size"_s,
        QString::number(Preferences::cacheSizeBytes()),
        u"--vfs-cache-max-age"_s,
        u"720h"_s,
        u"--vfs-cache-min-free-space"_s,
        u"5G"_s,
        u"--vfs-write-back"_s,
        u"5s"_s,
        u"--vfs-read-ahead"_s,
        u"256M"_s,
        u"--buffer-size"_s,
        u"64M"_s,
        u"--dir-cache-time"_s,
        u"1000h"_s,
        u"--poll-interval"_s,
        u"30s"_s,
        u"--drive-chunk-size"_s,
        u"64M"_s,
        u"--drive-acknowledge-abuse"_s,
        u"--nfs-cache-type"_s,
        u"disk"_s,
        u"--user-agent"_s,
        u"Quillmount/"_s + Brand::version(),
        u"--timeout"_s,
        u"30s"_s,
        u"--contimeout"_s,
        u"15s"_s,
        u"--low-level-retries"_s,
        u"10"_s,
        u"--rc"_s,
        u"--rc-addr"_s,
        loopback(remoteControlPort),
        u"--log-file"_s,
        Paths::engineLog(),
        u"--log-level"_s,
        u"NOTICE"_s,
    };
    // clang-format on
}

QProcessEnvironment EngineLaunch::environment(const QProcessEnvironment &inherited) const {
    QProcessEnvironment environment = inherited;
    handOver(environment);
    const QStringList names = environment.keys();
    for (const QString &name : names)
        if (name.startsWith("RCLONE_"_L1))
            environment.remove(name);
    environment.insert(u"RCLONE_CONFIG"_s, Paths::engineConfig());
    environment.insert(u"RCLONE_RC_USER"_s, remoteControlUser);
    environment.insert(u"RCLONE_RC_PASS"_s, remoteControlPassword);
    // Not inside the cache, which a sign-out deletes.
    environment.insert(u"QUILLMOUNT_RECOVERY_DIRECTORY"_s, Platform::current().directories->home());
    return environment;
}

} // namespace quillmount
