// SPDX-License-Identifier: LicenseRef-Quillmount
#include "App/UI/MenuPanel/StatusContent.h"

#include "App/Support/FileCount.h"
#include "App/UI/MenuPanel/FaultText.h"

namespace quillmount {

using namespace Qt::StringLiterals;

namespace {

using Line = RouteDiagram::LineStyle;

using Action = PanelAction;
using Kind = ErrorMapper::Kind;

StatusContent signedOut() {
    return {.line = Line::idle,
            .destination = u"Google Drive"_s,
            .title = u"Use your Google Drive space as a drive"_s,
            .detail =
                u"Files live in a Quillmount folder on Google Drive. Your Mac keeps only recent files, so your disk "
                u"stays free."_s,
            .buttons = {{u"Set Up Quillmount"_s, Action::openOnboarding, true}}};
}

StatusContent stopped() {
    return {.line = Line::idle,
            .title = u"Drive ejected"_s,
            .detail =
                u"Your files are safe on Google Drive and your account stays signed in. Connect again to use the drive "
                u"in Finder."_s,
            .buttons = {{u"Connect Drive"_s, Action::start, true}}};
}

StatusContent starting() {
    return {.line = Line::pending,
            .title = u"Connecting your drive"_s,
            .detail = u"This takes a few seconds."_s,
            .isWorking = true,
            .buttons = {}};
}

StatusContent ejecting(int pending) {
    if (pending == 0) {
        return {.line = Line::pending,
                .title = u"Ejecting"_s,
                .detail = u"Disconnecting the drive from Finder."_s,
                .isWorking = true,
                .buttons = {}};
    }
    return {.line = Line::pending,
            .moving = pending,
            .title = u"Uploading "_s + fileCount(pending) + u", then ejecting"_s,
            .detail = u"You can eject now instead: unfinished uploads stay on this Mac and continue the next time you "
                      u"connect."_s,
            .isWorking = true,
            .buttons = {{u"Cancel"_s, Action::cancelEject}, {u"Eject Now"_s, Action::ejectNow}}};
}

QList<PanelButton> faultButtons(Kind kind) {
    switch (kind) {
    case Kind::needsReconnect:
        return {{u"Reconnect"_s, Action::openOnboarding, true}};
    case Kind::diskFull:
        return {{u"Open Settings"_s, Action::openSettings, true}, {u"Try Again"_s, Action::retry}};
    case Kind::offline:
    case Kind::mountRefused:
    case Kind::unknown:
        break;
    }
    return {{u"Try Again"_s, Action::retry, true}, {u"Contact Support"_s, Action::contactSupport}};
}

StatusContent failed(Kind kind, const QString &supportAddress) {
    const FaultText text = FaultText::of(kind, supportAddress);
    return {.line = Line::fault, .title = text.title, .detail = text.detail, .buttons = faultButtons(kind)};
}

} // namespace

StatusContent StatusContent::of(const DriveSnapshot &drive) {
    switch (drive.state.which()) {
    case DriveState::signedOut:
        return signedOut();
    case DriveState::stopped:
        return stopped();
    case DriveState::starting:
        return starting();
    case DriveState::ejecting:
        return ejecting(drive.moving());
    case DriveState::failed:
        return failed(drive.state.kind().value_or(Kind::unknown), drive.supportAddress);
    case DriveState::live:
        break;
    }
    return {};
}

} // namespace quillmount
