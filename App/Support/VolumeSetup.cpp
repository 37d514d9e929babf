// SPDX-License-Identifier: LicenseRef-Quillmount
#include "App/Support/VolumeSetup.h"

namespace quillmount {

bool NoVolumeSetup::waitUntilReady(double /*seconds*/) {
    return false;
}

QCoro::Task<bool> NoVolumeSetup::run() {
    co_return false;
}

} // namespace quillmount
