// SPDX-License-Identifier: LicenseRef-Quillmount
#include "App/UI/Settings/SettingsModel.h"
#include "App/Uninstall/Uninstaller.h"
#include "Gallery/GalleryState.h"

namespace quillmount {

using namespace Qt::StringLiterals;

namespace {

using Tab = SettingsModel::Tab;
using Status = Updater::Status;

// The window on a tab, after `prepare` has done something to it.
template <typename Prepare>
GalleryState settings(const QString &name, Tab tab, Prepare prepare, const QString &more = {}) {
    return {.name = u"settings-"_s + name,
            .qml = u"SettingsView { id: view; width: 520; height: implicitHeight; model: settings; %1 }"_s.arg(more),
            .imports = u"import Quillmount.Settings"_s,
            .context =
                [tab, prepare](QQmlContext &context) {
                    auto model = std::make_shared<SettingsModel>();
                    model->selectTab(static_cast<int>(tab));
                    prepare(*model);
                    context.setContextProperty(u"settings"_s, model.get());
                    return model;
                },
            .seconds = 0.1,
            .margin = 0};
}

// Shows the ring of focus on the control that a screen reader calls so.
QString focusOn(const QString &title) {
    return uR"(
        function find(item) {
            if (item.text === "%1" || item.title === "%1")
                if (item.focusShown !== undefined && item.visible)
                    return item;
            for (let i = 0; i < item.children.length; ++i) {
                const found = find(item.children[i]);
                if (found)
                    return found;
            }
            return null;
        }
        Component.onCompleted: Qt.callLater(() => find(view).focusShown = true))"_s.arg(title);
}

AccountSnapshot account(qint64 pending = 0) {
    constexpr qint64 gigabyte = 1'000'000'000;
    return {.isSignedIn = true,
            .email = u"jo@example.com"_s,
            .quota = DriveQuota{.total = 2000 * gigabyte, .used = 800 * gigabyte, .free = 1200 * gigabyte},
            .pendingInEngine = pending,
            .consequences = Uninstaller::consequences()};
}

GalleryState general(const QString &name, const GeneralSettingsModel::Location &location, const QString &more = {}) {
    return settings(
        u"general"_s + name, Tab::general, [location](SettingsModel &model) { model.general()->setLocation(location); },
        more);
}

GalleryState accountTab(const QString &name, const AccountSnapshot &shown, const QString &more = {}) {
    return settings(
        u"account"_s + name, Tab::account, [shown](SettingsModel &model) { model.account()->update(shown); }, more);
}

// A question with so many files pending; `then` happens after it was put.
template <typename Then>
GalleryState question(const QString &name, bool isDisconnect, qint64 pending, Then then) {
    return settings(name, Tab::account, [=](SettingsModel &model) {
        AccountSettingsModel &tab = *model.account();
        tab.update(account(pending));
        isDisconnect ? tab.askToDisconnect() : tab.askToUninstall();
        tab.setPendingOnDisk(0);
        then(tab);
    });
}

GalleryState question(const QString &name, bool isDisconnect, qint64 pending) {
    return question(name, isDisconnect, pending, [](AccountSettingsModel &) {});
}

GalleryState about(const QString &name, Status status, const QString &version = {}) {
    const Updater::State update{.status = status, .version = version, .page = {}};
    return settings(u"about"_s + name, Tab::about,
                    [update](SettingsModel &model) { model.about()->setUpdate(update); });
}

void carryOut(AccountSettingsModel &tab) {
    tab.confirmation()->confirm();
    tab.setPendingOnDisk(0);
}

} // namespace

QList<GalleryState> settingsStates() {
    AccountSnapshot withoutQuota = account();
    withoutQuota.quota.reset();
    AccountSnapshot longName = account();
    longName.email = u"somebody.with.a.very.long.name.indeed.and.more.of.it@students.university.example.edu"_s;
    const QString reason = u"The drive is still in use. Close the programs that use it, then try again."_s;
    return {
        general(u""_s, {}),
        general(u"-location"_s, {.canBeAdded = true}),
        general(u"-adding"_s, {.canBeAdded = true, .isBeingAdded = true}),
        general(u"-not-added"_s, {.canBeAdded = true, .note = u"Quillmount couldn't be added to Locations."_s}),
        general(u"-focus-tab"_s, {}, focusOn(u"General"_s)),
        general(u"-focus-picker"_s, {}, focusOn(u"Recent files on this Mac"_s)),
        general(u"-focus-toggle"_s, {}, focusOn(u"Open Quillmount when I log in"_s)),
        accountTab(u""_s, account()),
        accountTab(u"-no-quota"_s, withoutQuota),
        accountTab(u"-long-name"_s, longName),
        accountTab(u"-signed-out"_s, {}),
        accountTab(u"-focus-disconnect"_s, account(), focusOn(u"Disconnect Account\u2026"_s)),
        accountTab(u"-focus-uninstall"_s, account(), focusOn(u"Uninstall Quillmount\u2026"_s)),
        question(u"disconnect"_s, true, 0),
        question(u"disconnect-1"_s, true, 1),
        question(u"disconnect-5"_s, true, 5),
        question(u"disconnecting"_s, true, 0, carryOut),
        question(u"uninstall"_s, false, 0),
        question(u"uninstall-5"_s, false, 5),
        question(u"uninstalling"_s, false, 0, carryOut),
        question(u"uninstall-stopped"_s, false, 0, [reason](AccountSettingsModel &tab) { tab.stop(reason); }),
        about(u""_s, Status::idle),
        about(u"-checking"_s, Status::checking),
        about(u"-up-to-date"_s, Status::upToDate),
        about(u"-available"_s, Status::available, u"1.4.2"_s),
        about(u"-failed"_s, Status::failed),
        settings(u"acknowledgements"_s, Tab::about,
                 [](SettingsModel &model) {
                     const QString line = u"Permission is hereby granted, free of charge, to whom it may concern.\n"_s;
                     model.about()->setLicenses(u"A library\n---------\n\n"_s + line.repeated(60));
                     model.about()->showLicenses();
                 }),
    };
}

} // namespace quillmount
