// SPDX-License-Identifier: LicenseRef-Quillmount
#include "App/UI/Components/Riders.h"
#include "App/UI/Components/RouteDiagram.h"
#include "App/UI/Components/SymbolImage.h"
#include "Gallery/Studio.h"

#include <QQuickWindow>
#include <QTest>

#include <algorithm>

using namespace quillmount;
using namespace Qt::StringLiterals;
using Scheme = Appearance::ColorScheme;
using Style = RouteDiagram::LineStyle;

namespace {

// Runs of equal colour along a line of a picture, as "8#d9dce0 6#ffffff …".
QString runs(const QImage &picture, int y, int from, int to) {
    QString all;
    for (int x = from, start = from; x < to; ++x) {
        if (x + 1 < to && picture.pixelColor(x + 1, y) == picture.pixelColor(x, y))
            continue;
        all += QString::number(x + 1 - start) + picture.pixelColor(x, y).name() + u' ';
        start = x + 1;
    }
    return all.trimmed();
}

QString route(int style, int movingCount = 0) {
    return u"RouteDiagram { width: 308; style: Number(%1); movingCount: %2; leftLabel: \"Mac\"; rightLabel: \"Mac\" }"_s
        .arg(style)
        .arg(movingCount);
}

// A colour of some opacity on another.
QString over(QRgb below, QRgb above, double opacity) {
    const auto mix = [&](int one, int other) { return qRound(one + (other - one) * opacity); };
    return QColor(mix(qRed(below), qRed(above)), mix(qGreen(below), qGreen(above)), mix(qBlue(below), qBlue(above)))
        .name();
}

} // namespace

class ComponentPicturesTest : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void initTestCase() { QQuickWindow::setGraphicsApi(QSGRendererInterface::Software); }
    void colours_data();
    void colours();
    void dashesAndCells();
    void ridersGoAlongTheTrack();
    void routeSpeaks();
    void symbolsAreTinted();

private:
    Studio m_studio;
};

void ComponentPicturesTest::colours_data() {
    QTest::addColumn<QString>("qml");
    QTest::addColumn<Scheme>("scheme");
    QTest::addColumn<double>("seconds");
    QTest::addColumn<bool>("reduceMotion");
    QTest::addColumn<QPoint>("at");
    QTest::addColumn<QString>("colour");

    const auto row = [](const char *name, const QString &qml, QPoint at, const QString &colour,
                        Scheme scheme = Scheme::light, double seconds = 0, bool reduceMotion = false) {
        QTest::newRow(name) << qml << scheme << seconds << reduceMotion << at << colour;
    };
    const QString live = route(static_cast<int>(Style::live));
    const QString idle = route(static_cast<int>(Style::idle));
    row("line of live", live, {154, 16}, u"#00875a"_s);
    row("line of live in the dark", live, {154, 16}, u"#1fb57a"_s, Scheme::dark);
    row("line is 6 high: first", live, {154, 13}, u"#00875a"_s);
    row("line is 6 high: above", live, {154, 12}, u"#ffffff"_s);
    row("line is 6 high: last", live, {154, 18}, u"#00875a"_s);
    row("line is 6 high: below", live, {154, 19}, u"#ffffff"_s);
    row("line of a fault", route(static_cast<int>(Style::fault)), {154, 16}, u"#c81e33"_s);
    row("line of pending", route(static_cast<int>(Style::pending)), {154, 16}, u"#c98a00"_s);
    row("ring inside the edge", live, {2, 16}, u"#00875a"_s);
    row("station within the ring", live, {5, 16}, u"#111214"_s);
    row("ring on a grey line", idle, {2, 16}, u"#111214"_s);
    row("open right station", idle, {297, 22}, u"#ffffff"_s);
    row("still rider in the middle", route(0, 1), {154, 16}, u"#c98a00"_s, Scheme::light, 0, true);
    row("ring of the rider", route(0, 1), {149, 16}, u"#ffffff"_s, Scheme::light, 1.2);
    row("rider half way", route(0, 1), {154, 16}, u"#c98a00"_s, Scheme::light, 1.2);

    const QString band = u"SignageBand { width: 340; height: 44 }"_s;
    row("band", band, {170, 42}, u"#111214"_s);
    row("band in the dark", band, {170, 42}, u"#000000"_s, Scheme::dark);
    row("lower edge of the band", band, {170, 43}, over(0x111214, 0xFFFFFF, 0.08));

    const QString pill = u"Rectangle { width: 200; height: 24; color: Colors.band; StatusPill { label: \"Uploading\"; "
                         "dotColor: Colors.transit; pulsing: true } }"_s;
    const QRgb capsule = QColor(over(0x111214, 0xFFFFFF, 0.08)).rgb();
    row("capsule", pill, {20, 2}, QColor(capsule).name());
    row("dot", pill, {14, 12}, u"#c98a00"_s);
    row("dim dot", pill, {14, 12}, over(capsule, 0xC98A00, 0.35), Scheme::light, 0.9);
    row("dot that comes back", pill, {14, 12}, u"#c98a00"_s, Scheme::light, 1.8);
    row("dot without motion", pill, {14, 12}, u"#c98a00"_s, Scheme::light, 0.9, true);

    const auto button = [](const char *type, const char *state) {
        return u"%1 { width: 60; %2 }"_s.arg(QLatin1String(type), QLatin1String(state));
    };
    row("primary", button("PrimaryButton", ""), {30, 2}, u"#00875a"_s);
    row("pressed primary", button("PrimaryButton", "down: true"), {30, 4}, over(0xFFFFFF, 0x00875A, 0.85));
    row("disabled primary", button("PrimaryButton", "enabled: false; down: true"), {30, 4},
        over(0xFFFFFF, 0x00875A, 0.4));
    // What is primary is itself 85 % black.
    row("secondary", button("SecondaryButton", ""), {30, 4}, over(0xFFFFFF, 0, 0.85 * 0.08));
    row("pressed secondary", button("SecondaryButton", "down: true"), {30, 4}, over(0xFFFFFF, 0, 0.85 * 0.14));
    row("quiet", button("QuietButton", ""), {30, 4}, u"#ffffff"_s);
    row("quiet under the pointer", button("QuietButton", "hovering: true"), {30, 4}, over(0xFFFFFF, 0, 0.85 * 0.06));
    row("pressed quiet", button("QuietButton", "down: true"), {30, 4}, over(0xFFFFFF, 0, 0.85 * 0.12));
    row("pressed button is smaller", button("SecondaryButton", "down: true"), {0, 16}, u"#ffffff"_s);
    row("without motion it keeps its size", button("PrimaryButton", "down: true"), {0, 16},
        over(0xFFFFFF, 0x00875A, 0.85), Scheme::light, 0, true);
}

void ComponentPicturesTest::colours() {
    QFETCH(QString, qml);
    QFETCH(Scheme, scheme);
    QFETCH(double, seconds);
    QFETCH(bool, reduceMotion);
    QFETCH(QPoint, at);
    QFETCH(QString, colour);
    const GalleryState state{
        .name = u"state"_s, .qml = qml, .seconds = seconds, .reduceMotion = reduceMotion, .margin = 0};
    const QColor found = m_studio.picture(state, scheme, 1).pixelColor(at);
    const QColor expected(colour);
    // Opacities are rounded more than once.
    const int difference = std::max({qAbs(found.red() - expected.red()), qAbs(found.green() - expected.green()),
                                     qAbs(found.blue() - expected.blue())});
    QVERIFY2(difference <= 1, qPrintable(found.name() + u" instead of "_s + expected.name()));
}

void ComponentPicturesTest::dashesAndCells() {
    const GalleryState idle{.name = u"idle"_s, .qml = route(static_cast<int>(Style::idle)), .margin = 0};
    // From the left end of the track, which is two points under the bullet.
    QCOMPARE(runs(m_studio.picture(idle, Scheme::light, 1), 16, 32, 52), u"6#d9dce0 6#ffffff 8#d9dce0"_s);

    const GalleryState cells{.name = u"cells"_s,
                             .qml = u"CellBar { width: 98; cells: 10; fraction: 0.25; color: Colors.route }"_s,
                             .margin = 0};
    QString expected;
    for (int i = 0; i < 10; ++i)
        expected += (i < 3 ? u"8#00875a"_s : u"8#d9dce0"_s) + (i < 9 ? u" 2#ffffff "_s : QString());
    QCOMPARE(runs(m_studio.picture(cells, Scheme::light, 1), 4, 0, 98), expected);
}

void ComponentPicturesTest::ridersGoAlongTheTrack() {
    const QList<Rider> still = riders(3, 100, 5, true);
    QCOMPARE(still.size(), 3);
    for (int i = 0; i < 3; ++i) {
        QCOMPARE(still[i].x, 10 + 80 * (i + 1) / 4.0 - 6);
        QCOMPARE(still[i].opacity, 1.0);
    }
    const QList<Rider> moving = riders(7, 100, 0.15, false);
    QCOMPARE(moving.size(), 4);
    for (int i = 0; i < 4; ++i)
        QCOMPARE(moving[i].x, 10 + 80 * (0.0625 + i / 4.0) - 6);
    QCOMPARE(moving[0].opacity, 0.5);
    QCOMPARE(moving[1].opacity, 1.0);
    QCOMPARE(riders(1, 100, 2.4 + 2.25, false)[0].opacity, 0.5);
    QCOMPARE(riders(2, 15, 1, false)[1].x, 4.0);
    QVERIFY(riders(0, 100, 0, false).isEmpty());
}

void ComponentPicturesTest::routeSpeaks() {
    QCOMPARE(RouteDiagram::accessibilityText(Style::live, 1), u"1 files uploading to Google Drive"_s);
    QCOMPARE(RouteDiagram::accessibilityText(Style::live, 0), u"Connected to Google Drive"_s);
    QCOMPARE(RouteDiagram::accessibilityText(Style::idle, 0), u"Not connected"_s);
    QCOMPARE(RouteDiagram::accessibilityText(Style::offline, 0), u"Offline"_s);
    QCOMPARE(RouteDiagram::accessibilityText(Style::fault, 0), u"Problem connecting to Google Drive"_s);
    QCOMPARE(RouteDiagram::accessibilityText(Style::pending, 0), u"Connecting"_s);
}

void ComponentPicturesTest::symbolsAreTinted() {
    const QImage idle = SymbolImage::tinted(u"MenuBarIcon"_s, 16, Qt::red);
    const QImage active = SymbolImage::tinted(u"MenuBarIconActive"_s, 16, Qt::red);
    // The stations of the idle one are open, those of the active one are not; nothing else is drawn in the corner.
    QVERIFY(qAlpha(idle.pixel(2, 12)) < 80);
    QCOMPARE(active.pixelColor(2, 12), QColor(Qt::red));
    QCOMPARE(qAlpha(active.pixel(0, 0)), 0);
}

QTEST_MAIN(ComponentPicturesTest)
#include "ComponentPicturesTest.moc"
