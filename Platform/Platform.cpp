// SPDX-License-Identifier: LicenseRef-Quillmount
#include "Platform/Platform.h"

#include <QtGlobal>

namespace quillmount {

namespace {
std::unique_ptr<Platform> &installed() {
    static std::unique_ptr<Platform> platform;
    return platform;
}
} // namespace

Platform &Platform::current() {
    if (!installed())
        qFatal("no platform is installed");
    return *installed();
}

void Platform::install(std::unique_ptr<Platform> platform) {
    installed() = std::move(platform);
}

} // namespace quillmount
