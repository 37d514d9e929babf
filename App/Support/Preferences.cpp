// SPDX-License-Identifier: LicenseRef-Quillmount
#include "App/Support/Preferences.h"

#include "Platform/Platform.h"

#include <QLoggingCategory>

namespace quillmount {

namespace {

Q_LOGGING_CATEGORY(log, "quillmount.preferences")

constexpr qint64 gigabyte = 1'000'000'000;

UserDefaults &defaults() {
    return *Platform::current().userDefaults;
}

} // namespace

qint64 Preferences::cacheSizeGB() {
    return defaults().get<qint64>(Key::cacheSizeGB.toString()).value_or(defaultCacheSizeGB);
}

void Preferences::setCacheSizeGB(qint64 size) {
    defaults().set(Key::cacheSizeGB.toString(), size);
}

qint64 Preferences::cacheSizeBytes() {
    const qint64 size = cacheSizeGB();
    qint64 bytes = 0;
    if (size < 0 || __builtin_mul_overflow(size, gigabyte, &bytes)) {
        qCWarning(log, "a cache of %lld GB is not possible; using %lld GB", static_cast<long long>(size),
                  static_cast<long long>(defaultCacheSizeGB));
        return defaultCacheSizeGB * gigabyte;
    }
    return bytes;
}

bool Preferences::volumeSetupDeclined() {
    return defaults().get<bool>(Key::volumeSetupDeclined.toString()).value_or(false);
}

void Preferences::setVolumeSetupDeclined(bool declined) {
    defaults().set(Key::volumeSetupDeclined.toString(), declined);
}

std::optional<QString> Preferences::accountEmail() {
    return defaults().get<QString>(Key::accountEmail.toString());
}

void Preferences::setAccountEmail(const std::optional<QString> &email) {
    if (email)
        defaults().set(Key::accountEmail.toString(), *email);
    else
        defaults().remove(Key::accountEmail.toString());
}

void Preferences::removeServerStatus() {
    defaults().remove(Key::serverStatus.toString());
}

} // namespace quillmount
