// SPDX-License-Identifier: LicenseRef-Quillmount
#include "App/Support/VolumeSetup.h"

namespace quillmount {

using namespace Qt::StringLiterals;

QString VolumeSetup::mountPoint() {
    return u"/Volumes/Quillmount"_s;
}

QString VolumeSetup::hostName() {
    return u"Quillmount"_s;
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
