// SPDX-License-Identifier: LicenseRef-Quillmount
#include "App/Support/VolumeSetup.h"

#include "Location/LocationSetup.h"

namespace quillmount {

QString VolumeSetup::mountPoint() {
    return QString::fromUtf8(LocationSetup::mountPoint.data(), qsizetype(LocationSetup::mountPoint.size()));
}

QString VolumeSetup::hostName() {
    return QString::fromUtf8(LocationSetup::hostName.data(), qsizetype(LocationSetup::hostName.size()));
}

QCoro::Task<bool> NoVolumeSetup::resolvesLocally() {
    co_return false;
}

bool NoVolumeSetup::waitUntilReady(double /*seconds*/) {
    return false;
}

QCoro::Task<VolumeSetup::Outcome> NoVolumeSetup::run() {
    co_return Outcome::notAsked;
}

QCoro::Task<VolumeSetup::Outcome> NoVolumeSetup::remove() {
    co_return Outcome::notAsked;
}

} // namespace quillmount
