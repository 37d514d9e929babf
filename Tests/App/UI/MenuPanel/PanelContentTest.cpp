// SPDX-License-Identifier: LicenseRef-Quillmount
// What the panel and the item in the bar say of a drive, where it takes more than one look at its figures.
#include "App/UI/MenuPanel/LiveContent.h"
#include "App/UI/MenuPanel/MenuBarLabel.h"
#include "App/UI/MenuPanel/StatusContent.h"
#include "App/UI/MenuPanel/StatusPillContent.h"

#include <QtTest>

#include <limits>

using namespace quillmount;
using namespace Qt::StringLiterals;

using Kind = ErrorMapper::Kind;
using Line = RouteDiagram::LineStyle;

constexpr qint64 gigabyte = 1'000'000'000;

class PanelContentTest : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void labelAndPill_data();
    void labelAndPill();
    void live_data();
    void live();
    void status_data();
    void status();
    void cacheFraction_data();
    void cacheFraction();
    void quota();

private:
    static DriveSnapshot drive(DriveState state, qint64 queued = 0, qint64 errored = 0, bool isOnline = true) {
        DriveSnapshot drive;
        drive.state = state;
        drive.stats.uploadsQueued = queued;
        drive.stats.erroredFiles = errored;
        drive.isOnline = isOnline;
        drive.supportAddress = u"help@example.com"_s;
        return drive;
    }
};

Q_DECLARE_METATYPE(quillmount::DriveSnapshot)

void PanelContentTest::labelAndPill_data() {
    QTest::addColumn<DriveSnapshot>("snapshot");
    QTest::addColumn<QString>("image");
    QTest::addColumn<double>("opacity");
    QTest::addColumn<QString>("statusText");
    QTest::addColumn<StatusPillContent>("pill");
    const QString triangle = u"exclamationmark.triangle.fill"_s;
    const QString active = u"MenuBarIconActive"_s;
    const QString icon = u"MenuBarIcon"_s;
    const auto row = [](const char *name, const DriveSnapshot &snapshot, const QString &image, double opacity,
                        const QString &statusText, const StatusPillContent &pill) {
        QTest::newRow(name) << snapshot << image << opacity << statusText << pill;
    };
    row("idle", drive(DriveState::live), icon, 1, u"connected"_s, {u"Connected"_s, u"route"_s});
    row("busy", drive(DriveState::live, 1), active, 1, u"uploading"_s, {u"Uploading"_s, u"transit"_s, true});
    row("failed upload", drive(DriveState::live, 3, 1), triangle, 1, u"upload problem"_s,
        {u"Upload problem"_s, u"fault"_s});
    row("offline", drive(DriveState::live, 3, 0, false), u"icloud.slash"_s, 1, u"offline"_s, {u"Offline"_s, u"rail"_s});
    row("offline, failed upload", drive(DriveState::live, 0, 2, false), triangle, 1, u"offline"_s,
        {u"Offline"_s, u"rail"_s});
    row("starting", drive(DriveState::starting), active, 1, u"connecting"_s, {u"Connecting"_s, u"transit"_s, true});
    row("ejecting", drive(DriveState::ejecting), active, 1, u"ejecting"_s, {u"Ejecting"_s, u"transit"_s, true});
    row("signed out", drive(DriveState::signedOut), icon, 0.5, u"not set up"_s, {u"Not set up"_s, u"rail"_s});
    row("ejected, offline", drive(DriveState::stopped, 0, 0, false), icon, 0.5, u"ejected"_s,
        {u"Ejected"_s, u"rail"_s});
    row("failed", drive(DriveState::failure(Kind::offline), 1), triangle, 1, u"needs attention"_s,
        {u"Needs attention"_s, u"fault"_s});
}

void PanelContentTest::labelAndPill() {
    QFETCH(const DriveSnapshot, snapshot);
    const MenuBarLabel label = MenuBarLabel::of(snapshot);
    QTEST(label.image, "image");
    QTEST(label.opacity, "opacity");
    QTEST(label.statusText, "statusText");
    QTEST(StatusPillContent::of(snapshot), "pill");
}

void PanelContentTest::live_data() {
    QTest::addColumn<DriveSnapshot>("snapshot");
    QTest::addColumn<double>("speed");
    QTest::addColumn<Line>("line");
    QTest::addColumn<int>("moving");
    QTest::addColumn<QString>("headline");
    QTest::addColumn<QString>("subline");
    const auto online = [](qint64 queued, qint64 errored) { return drive(DriveState::live, queued, errored); };
    const auto offline = [](qint64 queued, qint64 errored) { return drive(DriveState::live, queued, errored, false); };
    const QString keepWorking = u"Keep working; your changes are already saved on this Mac."_s;
    constexpr double unknown = std::numeric_limits<double>::quiet_NaN();
    QTest::newRow("idle") << online(0, 0) << 5.0 << Line::live << 0 << u"Everything is on Google Drive"_s
                          << u"Files you save upload a few seconds later."_s;
    QTest::newRow("one") << online(1, 0) << 0.0 << Line::live << 1 << u"Uploading 1 file"_s << keepWorking;
    QTest::newRow("five") << online(5, 0) << 2'500'000.9 << Line::live << 5 << u"Uploading 5 files"_s
                          << u"2.5 MB/s. "_s + keepWorking;
    QTest::newRow("no speed") << online(5, 0) << unknown << Line::live << 5 << u"Uploading 5 files"_s << keepWorking;
    QTest::newRow("failed") << online(4, 2) << 5.0 << Line::fault << 4 << u"2 files couldn't upload yet"_s
                            << u"They're saved on this Mac and Quillmount keeps retrying. If this doesn't clear, get "
                               "help."_s;
    QTest::newRow("offline") << offline(0, 0) << 0.0 << Line::offline << 0 << u"You're offline"_s
                             << u"Recent files still open. New changes upload when you're back online."_s;
    QTest::newRow("offline, failed") << offline(1, 1) << 5.0 << Line::offline << 0 << u"You're offline"_s
                                     << u"1 file are saved on this Mac and will upload when you're back online."_s;
}

void PanelContentTest::live() {
    QFETCH(DriveSnapshot, snapshot);
    QFETCH(const double, speed);
    snapshot.stats.bytesPerSecond = speed;
    const LiveContent content = LiveContent::of(snapshot);
    QTEST(content.line, "line");
    QTEST(content.moving, "moving");
    QTEST(content.headline, "headline");
    QTEST(content.subline, "subline");
    QCOMPARE(content.offersHelp, snapshot.hasErrors());
}

void PanelContentTest::status_data() {
    QTest::addColumn<DriveSnapshot>("snapshot");
    QTest::addColumn<QString>("title");
    QTest::addColumn<QString>("endOfDetail");
    QTest::addColumn<QStringList>("buttons"); // the primary one with a star
    QTest::newRow("ejecting") << drive(DriveState::ejecting) << u"Ejecting"_s << u"from Finder."_s << QStringList();
    QTest::newRow("ejecting, one left") << drive(DriveState::ejecting, 1) << u"Uploading 1 file, then ejecting"_s
                                        << u"next time you connect."_s << QStringList{u"Cancel"_s, u"Eject Now"_s};
    QTest::newRow("no account") << drive(DriveState::signedOut) << u"Use your Google Drive space as a drive"_s
                                << u"stays free."_s << QStringList{u"*Set Up Quillmount"_s};
    const QStringList again{u"*Try Again"_s, u"Contact Support"_s};
    const auto fault = [](const char *name, Kind kind) -> decltype(auto) {
        return QTest::newRow(name) << drive(DriveState::failure(kind));
    };
    fault("reconnect", Kind::needsReconnect)
        << u"Reconnect your Google account"_s << u"safe on Google Drive."_s << QStringList{u"*Reconnect"_s};
    fault("full", Kind::diskFull) << u"Your Mac is out of space"_s << u"in Settings."_s
                                  << QStringList{u"*Open Settings"_s, u"Try Again"_s};
    fault("offline", Kind::offline) << u"Can't reach Google Drive"_s << u"on its own."_s << again;
    fault("refused", Kind::mountRefused) << u"The drive didn't connect"_s << u"your Mac or email help@example.com."_s
                                         << again;
    fault("unknown", Kind::unknown) << u"The drive stopped"_s << u"email help@example.com and we'll take a look."_s
                                    << again;
}

void PanelContentTest::status() {
    QFETCH(const DriveSnapshot, snapshot);
    QFETCH(const QString, endOfDetail);
    const StatusContent content = StatusContent::of(snapshot);
    QTEST(content.title, "title");
    QVERIFY2(content.detail.endsWith(endOfDetail), qPrintable(content.detail));
    QStringList buttons;
    for (const PanelButton &button : content.buttons)
        buttons.append(button.isPrimary ? u'*' + button.title : button.title);
    QTEST(buttons, "buttons");
}

void PanelContentTest::cacheFraction_data() {
    QTest::addColumn<qint64>("bytes");
    QTest::addColumn<qint64>("limit");
    QTest::addColumn<double>("fraction");
    QTest::addColumn<QString>("text");
    QTest::newRow("half") << 5 * gigabyte << 10 * gigabyte << 0.5 << u"5 GB of 10 GB max"_s;
    QTest::newRow("over") << 12 * gigabyte << 10 * gigabyte << 1.0 << u"12 GB of 10 GB max"_s;
    QTest::newRow("no limit, empty") << qint64(0) << qint64(0) << 0.0 << u"0 KB of 0 KB max"_s;
    QTest::newRow("no limit") << gigabyte << qint64(0) << 1.0 << u"1 GB of 0 KB max"_s;
}

void PanelContentTest::cacheFraction() {
    QFETCH(const qint64, bytes);
    QFETCH(const qint64, limit);
    DriveSnapshot snapshot = drive(DriveState::live);
    snapshot.stats.cacheBytes = bytes;
    snapshot.cacheLimit = limit;
    const LiveContent content = LiveContent::of(snapshot);
    QTEST(content.cacheFraction, "fraction");
    QTEST(content.cacheText, "text");
}

void PanelContentTest::quota() {
    DriveSnapshot snapshot = drive(DriveState::live);
    QVERIFY(LiveContent::of(snapshot).quotaText.isEmpty());
    snapshot.quota = DriveQuota{.total = 0, .used = 5 * gigabyte, .free = 0}; // Google sets no limit
    QVERIFY(LiveContent::of(snapshot).quotaText.isEmpty());
    snapshot.quota = DriveQuota{.total = 2000 * gigabyte, .used = 2500 * gigabyte, .free = 0};
    QCOMPARE(LiveContent::of(snapshot).quotaText, u"0 KB free of 2 TB"_s);
    QCOMPARE(LiveContent::of(snapshot).quotaFraction, 1.25);
}

QTEST_APPLESS_MAIN(PanelContentTest)
#include "PanelContentTest.moc"
