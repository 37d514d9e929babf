// SPDX-License-Identifier: LicenseRef-Quillmount
#include "App/UI/MenuPanel/MenuBarLabel.h"

#include "App/Support/FileCount.h"
#include "App/UI/MenuPanel/LiveContent.h"
#include "App/UI/MenuPanel/StatusContent.h"

namespace quillmount {

using namespace Qt::StringLiterals;

namespace {

using Action = PanelAction;

// The image and its opacity.
void chooseImage(const DriveSnapshot &drive, MenuBarLabel &label) {
    const DriveState::Case state = drive.state.which();
    if (drive.state.isFailed() || (drive.isLive() && drive.hasErrors())) {
        label.image = u"exclamationmark.triangle.fill"_s;
    } else if (drive.isLive() && !drive.isOnline) {
        label.image = u"icloud.slash"_s;
    } else if (drive.isBusy() || state == DriveState::starting || state == DriveState::ejecting) {
        label.image = u"MenuBarIconActive"_s;
    } else {
        label.image = u"MenuBarIcon"_s;
        label.opacity = drive.isLive() ? 1.0 : 0.5;
    }
}

QString liveText(const DriveSnapshot &drive) {
    if (!drive.isOnline)
        return u"offline"_s;
    if (drive.hasErrors())
        return u"upload problem"_s;
    return drive.isBusy() ? u"uploading"_s : u"connected"_s;
}

QString statusTextOf(const DriveSnapshot &drive) {
    switch (drive.state.which()) {
    case DriveState::signedOut:
        return u"not set up"_s;
    case DriveState::stopped:
        return u"ejected"_s;
    case DriveState::starting:
        return u"connecting"_s;
    case DriveState::live:
        return liveText(drive);
    case DriveState::ejecting:
        return u"ejecting"_s;
    case DriveState::failed:
        break;
    }
    return u"needs attention"_s;
}

QString pendingTextOf(const DriveSnapshot &drive) {
    if (drive.isLive() && drive.hasErrors())
        return fileCount(drive.stats.erroredFiles) + u" couldn't upload yet"_s;
    if (drive.isBusy())
        return fileCount(drive.stats.pendingUploads()) + u" left to upload"_s;
    return {};
}

// A bar may offer nothing but this menu, so it has the body's headline and its actions.
QList<MenuBarLabel::Entry> menuOf(const DriveSnapshot &drive) {
    QList<MenuBarLabel::Entry> menu;
    const auto add = [&](const QString &title, Action action) { menu.append({title, action}); };
    if (drive.isLive()) {
        add(LiveContent::of(drive).headline, Action::none);
        add(u"Open Quillmount"_s, Action::openPanel);
        add(u"Open Drive"_s, Action::openDrive);
        add(u"Eject"_s, Action::eject);
    } else {
        const StatusContent content = StatusContent::of(drive);
        add(content.title, Action::none);
        add(u"Open Quillmount"_s, Action::openPanel);
        for (const PanelButton &button : content.buttons)
            if (button.action != Action::openSettings)
                add(button.title, button.action);
    }
    add(u"Settings"_s, Action::openSettings);
    add(u"Quit"_s, Action::quit);
    return menu;
}

} // namespace

MenuBarLabel MenuBarLabel::of(const DriveSnapshot &drive) {
    MenuBarLabel label;
    chooseImage(drive, label);
    label.statusText = statusTextOf(drive);
    label.pendingText = pendingTextOf(drive);
    label.menu = menuOf(drive);
    return label;
}

} // namespace quillmount
