// SPDX-License-Identifier: LicenseRef-Quillmount
#include "App/UI/MenuPanel/StatusPillContent.h"

namespace quillmount {

using namespace Qt::StringLiterals;

namespace {

StatusPillContent livePill(const DriveSnapshot &drive) {
    if (!drive.isOnline)
        return {u"Offline"_s, u"rail"_s};
    if (drive.hasErrors())
        return {u"Upload problem"_s, u"fault"_s};
    if (!drive.isBusy())
        return {u"Connected"_s, u"route"_s};
    return {u"Uploading"_s, u"transit"_s, true};
}

} // namespace

StatusPillContent StatusPillContent::of(const DriveSnapshot &drive) {
    switch (drive.state.which()) {
    case DriveState::live:
        return livePill(drive);
    case DriveState::ejecting:
        return {u"Ejecting"_s, u"transit"_s, true};
    case DriveState::signedOut:
        return {u"Not set up"_s, u"rail"_s};
    case DriveState::stopped:
        return {u"Ejected"_s, u"rail"_s};
    case DriveState::starting:
        return {u"Connecting"_s, u"transit"_s, true};
    case DriveState::failed:
        break;
    }
    return {u"Needs attention"_s, u"fault"_s};
}

} // namespace quillmount
