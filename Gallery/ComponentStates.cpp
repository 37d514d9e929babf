// SPDX-License-Identifier: LicenseRef-Quillmount
#include "App/UI/Components/RouteDiagram.h"
#include "Gallery/GalleryState.h"

namespace quillmount {

using namespace Qt::StringLiterals;

namespace {

// On the band, as wide as the panel.
QString pill(const QString &label, const QString &color, bool pulsing = false) {
    return u"SignageBand { width: 340; height: 44; StatusPill { label: \"%1\"; dotColor: Colors.%2; pulsing: %3 } }"_s
        .arg(label, color, pulsing ? u"true"_s : u"false"_s);
}

GalleryState route(const QString &name, RouteDiagram::LineStyle style, int movingCount = 0, double seconds = 0,
                   const QString &right = u"Drive"_s) {
    return {
        .name = u"route-"_s + name,
        .qml =
            u"RouteDiagram { width: 308; style: lineStyle; movingCount: %1; leftLabel: \"Mac\"; rightLabel: \"%2\" }"_s
                .arg(movingCount)
                .arg(right),
        .context =
            [style](QQmlContext &context) {
                context.setContextProperty(u"lineStyle"_s, static_cast<int>(style));
                return nullptr;
            },
        .seconds = seconds};
}

QString cells(double fraction, const QString &color, int count = 24) {
    return u"CellBar { width: 308; cells: %1; fraction: %2; color: %3 }"_s.arg(count).arg(fraction).arg(color);
}

// The three states of a kind of button, one beside the other.
QString buttons(const QString &type, const QString &states) {
    QString all = u"Row { spacing: 12;"_s;
    for (const QString &state : states.split(u'|'))
        all += u"%1 { %2 }"_s.arg(type, state);
    return all + u" }"_s;
}

QString symbols() {
    const QStringList names{u"exclamationmark.triangle.fill"_s,
                            u"icloud.slash"_s,
                            u"gearshape"_s,
                            u"power"_s,
                            u"arrow.up.forward.square"_s,
                            u"folder"_s,
                            u"eject"_s,
                            u"doc"_s,
                            u"laptopcomputer"_s,
                            u"cloud.fill"_s,
                            u"xmark"_s,
                            u"envelope"_s,
                            u"checkmark"_s,
                            u"MenuBarIcon"_s,
                            u"MenuBarIconActive"_s};
    QString all = u"Column { spacing: 12;"_s;
    for (const int size : {11, 12, 13, 18, 26}) {
        all += u"Row { spacing: 12;"_s;
        for (const QString &name : names)
            all += u"Symbol { name: \"%1\"; pixelSize: %2; color: Colors.primary }"_s.arg(name).arg(size);
        all += u"}"_s;
    }
    return all + u"}"_s;
}

QString texts() {
    return uR"(Column { width: 308; spacing: 6
        HeadlineText { width: 308; text: "Everything is on Google Drive" }
        BodyText { width: 308; text: "Files live in a Quillmount folder on Google Drive. Your Mac keeps only recent files." }
        ShortenedText { width: 160; font.pixelSize: 11; color: Colors.secondary; text: "somebody.with.a.long.name@example.com" }
        MonospacedDigits { font.family: Typeface.family; font.pixelSize: 12; color: Colors.secondary; text: "1.11 GB of 100 GB" }
        MonospacedDigits { font.family: Typeface.family; font.pixelSize: 12; color: Colors.secondary; text: "8.88 GB of 888 GB" }
        Hairline { width: 308 }
    })"_s;
}

} // namespace

QList<GalleryState> componentStates() {
    using Style = RouteDiagram::LineStyle;
    GalleryState still = route(u"uploading-still"_s, Style::live, 3);
    still.reduceMotion = true;
    const QString spinner = u"Spinner {}"_s;
    return {
        route(u"live"_s, Style::live),
        route(u"idle"_s, Style::idle, 0, 0, u"Google Drive"_s),
        route(u"offline"_s, Style::offline),
        route(u"fault"_s, Style::fault),
        route(u"pending"_s, Style::pending),
        route(u"uploading-1"_s, Style::live, 1, 1.2),
        route(u"uploading-7"_s, Style::live, 7, 0.2),
        still,
        {.name = u"pill-connected"_s, .qml = pill(u"Connected"_s, u"route"_s), .margin = 0},
        {.name = u"pill-uploading"_s, .qml = pill(u"Uploading"_s, u"transit"_s, true), .seconds = 0.9, .margin = 0},
        {.name = u"pill-offline"_s, .qml = pill(u"Offline"_s, u"rail"_s), .margin = 0},
        {.name = u"pill-fault"_s, .qml = pill(u"Needs attention"_s, u"fault"_s), .margin = 0},
        {.name = u"button-primary"_s,
         .qml = buttons(
             u"PrimaryButton"_s,
             u"text: \"Reconnect\"|text: \"Open Drive\"; symbol: \"folder\"; down: true|text: \"Try Again\"; enabled: false|text: \"Connect\"; focusShown: true"_s)},
        {.name = u"button-secondary"_s,
         .qml = buttons(
             u"SecondaryButton"_s,
             u"text: \"Get Help\"|text: \"Cancel\"; down: true|width: 64; text: \"Eject\"; symbol: \"eject\"|text: \"Eject Now\"; focusShown: true"_s)},
        {.name = u"button-quiet"_s,
         .qml = buttons(
             u"QuietButton"_s,
             u"text: \"Settings\"; symbol: \"gearshape\"|text: \"Quit\"; symbol: \"power\"; hovering: true|text: \"Quit\"; symbol: \"power\"; down: true|text: \"Quit\"; focusShown: true"_s)},
        {.name = u"button-link"_s,
         .qml = buttons(
             u"LinkButton"_s,
             u"text: \"See your files on Google Drive\"; symbol: \"arrow.up.forward.square\"|text: \"Open again\"; focusShown: true"_s)},
        {.name = u"cells"_s,
         .qml = u"Column { spacing: 12; "_s + cells(0.4, u"Colors.route"_s) +
                cells(0.3, u"Colors.faint(Colors.station, 0.7)"_s) + cells(0.25, u"Colors.transit"_s, 10) +
                cells(1.7, u"Colors.fault"_s) + u" }"_s},
        {.name = u"spinner"_s, .qml = spinner, .seconds = 0.1},
        {.name = u"spinner-still"_s, .qml = spinner, .reduceMotion = true},
        {.name = u"texts"_s, .qml = texts()},
        {.name = u"symbols"_s, .qml = symbols()},
        {.name = u"tooltip"_s,
         .qml =
             u"Item { width: 308; height: 90; SecondaryButton { x: 244; width: 64; text: \"Eject\"; symbol: \"eject\"\n"
             "Tip { shown: true; delay: 0; text: \"Disconnect the drive from this Mac. Your files stay on Google Drive.\" } } }"_s},
    };
}

} // namespace quillmount
