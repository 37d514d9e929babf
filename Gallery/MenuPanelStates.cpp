// SPDX-License-Identifier: LicenseRef-Quillmount
#include "App/UI/MenuPanel/MenuPanelModel.h"
#include "Gallery/GalleryState.h"

namespace quillmount {

using namespace Qt::StringLiterals;

namespace {

using Kind = ErrorMapper::Kind;

constexpr qint64 gigabyte = 1'000'000'000;

DriveSnapshot drive(DriveState state, qint64 pending = 0) {
    DriveSnapshot drive;
    drive.state = state;
    drive.stats.uploadsQueued = pending;
    drive.stats.cacheBytes = 3'100'000'000;
    drive.quota = DriveQuota{.total = 2000 * gigabyte, .used = 800 * gigabyte, .free = 1200 * gigabyte};
    drive.email = u"jo@example.com"_s;
    drive.cacheLimit = 10 * gigabyte;
    drive.supportAddress = u"support@quillmount.example"_s;
    return drive;
}

DriveSnapshot live(qint64 pending = 0) {
    return drive(DriveState::live, pending);
}

DriveSnapshot uploading(qint64 pending, const QStringList &names) {
    DriveSnapshot drive = live(pending);
    drive.stats.bytesPerSecond = 1'400'000;
    int percent = 12;
    for (const QString &name : names) {
        drive.stats.transfers.append({name, name, percent});
        percent = (percent + 44) % 101;
    }
    return drive;
}

// A drive of which one thing is different.
template <typename Change>
DriveSnapshot with(DriveSnapshot drive, Change change) {
    change(drive);
    return drive;
}

GalleryState panel(const QString &name, const DriveSnapshot &drive, const QString &more = {}) {
    return {.name = u"panel-"_s + name,
            .qml = u"MenuPanel { id: view; width: 340; height: implicitHeight; panel: model; %1 }"_s.arg(more),
            .imports = u"import Quillmount.MenuPanel"_s,
            .context =
                [drive](QQmlContext &context) {
                    auto model = std::make_shared<MenuPanelModel>(drive);
                    context.setContextProperty(u"model"_s, model.get());
                    return model;
                },
            .seconds = 0.5,
            .margin = 0};
}

// The same with a property of the button, or row, of this title set.
GalleryState button(const QString &name, const DriveSnapshot &drive, const QString &title, const QString &property,
                    bool value = true) {
    const QString setIt = uR"(
        function find(item) {
            if ((item.text === "%1" || item.name === "%1") && item.focusShown !== undefined)
                return item;
            for (let i = 0; i < item.children.length; ++i) {
                const found = find(item.children[i]);
                if (found)
                    return found;
            }
            return null;
        }
        Component.onCompleted: Qt.callLater(() => find(view).%2 = %3))"_s.arg(title, property,
                                                                              value ? u"true"_s : u"false"_s);
    GalleryState state = panel(name, drive, setIt);
    state.settle = 300; // a pressed button gives way by and by
    return state;
}

QList<GalleryState> liveStates() {
    const QStringList seven{u"Holiday.mov"_s, u"Budget 2026.xlsx"_s, u"Letter.odt"_s, u"d"_s, u"e"_s, u"f"_s, u"g"_s};
    const QString lengthy = u"A name that goes on and on "_s.repeated(7) + u"and ends.pdf"_s;
    const auto errored = [](qint64 files) {
        return with(live(files), [files](DriveSnapshot &drive) { drive.stats.erroredFiles = files; });
    };
    const auto offline = [](qint64 pending) {
        return with(live(pending), [](DriveSnapshot &drive) { drive.isOnline = false; });
    };
    QList<GalleryState> states{
        panel(u"live"_s, live()),
        panel(u"uploading-1"_s, uploading(1, seven.first(1))),
        panel(u"uploading-12"_s, uploading(12, seven.first(3))),
        panel(u"uploading-7-transfers"_s, uploading(12, seven)),
        panel(u"uploading-names"_s, uploading(2, {lengthy, u"<b>evil</b>\n<img src=x>.txt"_s})),
        panel(u"errored-1"_s, errored(1)),
        panel(u"errored-3"_s, errored(3)),
        panel(u"offline"_s, offline(0)),
        panel(u"offline-1"_s, offline(1)),
        panel(u"no-quota"_s, with(live(), [](DriveSnapshot &drive) { drive.quota.reset(); })),
        panel(u"over-quota"_s, with(live(),
                                    [](DriveSnapshot &drive) {
                                        drive.quota = DriveQuota{.total = 15 * gigabyte, .used = 16 * gigabyte};
                                    })),
        panel(u"cache-over-limit"_s,
              with(live(), [](DriveSnapshot &drive) { drive.stats.cacheBytes = 12'300'000'000; })),
        panel(u"cache-no-limit"_s, with(live(), [](DriveSnapshot &drive) { drive.cacheLimit = 0; })),
        panel(u"email-long"_s, with(live(),
                                    [](DriveSnapshot &drive) {
                                        drive.email = u"somebody.with.a.very.long.name.indeed@students.example.edu"_s;
                                    })),
        panel(u"email-none"_s, with(live(), [](DriveSnapshot &drive) { drive.email.clear(); })),
        panel(u"low-screen"_s, uploading(12, seven), u"maximumHeight: 300"_s),
        button(u"focus-open"_s, errored(1), u"Open Drive"_s, u"focusShown"_s),
        button(u"focus-help"_s, errored(1), u"Get Help"_s, u"focusShown"_s),
        button(u"focus-eject"_s, errored(1), u"Eject"_s, u"focusShown"_s),
        button(u"focus-link"_s, live(), u"See your files on Google Drive"_s, u"focusShown"_s),
        button(u"focus-quit"_s, live(), u"Quit"_s, u"focusShown"_s),
        button(u"focus-row"_s, uploading(12, seven.first(3)), u"Budget 2026.xlsx"_s, u"focusShown"_s),
        button(u"hover-settings"_s, live(), u"Settings"_s, u"hovering"_s),
        button(u"hover-row"_s, uploading(12, seven.first(3)), u"Budget 2026.xlsx"_s, u"hovering"_s),
        button(u"pressed-row"_s, uploading(12, seven.first(3)), u"Budget 2026.xlsx"_s, u"down"_s),
        button(u"pressed-open"_s, errored(1), u"Open Drive"_s, u"down"_s),
        button(u"pressed-eject"_s, errored(1), u"Eject"_s, u"down"_s),
        button(u"pressed-quit"_s, live(), u"Quit"_s, u"down"_s),
        button(u"disabled-open"_s, live(), u"Open Drive"_s, u"enabled"_s, false),
    };
    GalleryState still = panel(u"uploading-reduced-motion"_s, uploading(12, seven.first(1)));
    still.reduceMotion = true;
    GalleryState fallback = panel(u"fallback-font"_s, uploading(12, seven.first(3)));
    fallback.font = u"A Family That Is Not There"_s;
    states += {still, fallback};
    return states;
}

} // namespace

QList<GalleryState> menuPanelStates() {
    const auto fault = [](const QString &name, Kind kind) {
        return panel(u"fault-"_s + name, drive(DriveState::failure(kind)));
    };
    return liveStates() +
           QList<GalleryState>{
               panel(u"signed-out"_s, drive(DriveState::signedOut)),
               panel(u"ejected"_s, drive(DriveState::stopped)),
               panel(u"starting"_s, drive(DriveState::starting)),
               panel(u"ejecting"_s, drive(DriveState::ejecting)),
               panel(u"ejecting-1"_s, drive(DriveState::ejecting, 1)),
               panel(u"ejecting-9"_s, drive(DriveState::ejecting, 9)),
               fault(u"reconnect"_s, Kind::needsReconnect),
               fault(u"offline"_s, Kind::offline),
               fault(u"refused"_s, Kind::mountRefused),
               fault(u"full"_s, Kind::diskFull),
               fault(u"unknown"_s, Kind::unknown),
               button(u"focus-try-again"_s, drive(DriveState::failure(Kind::unknown)), u"Try Again"_s, u"focusShown"_s),
           };
}

} // namespace quillmount
