// SPDX-License-Identifier: LicenseRef-Quillmount
#include "App/UI/Windows/PanelWindow.h"
#include "Platform/Testing/ScopedPlatform.h"

#include <QQmlEngine>
#include <QQuickItem>
#include <QQuickView>
#include <QTemporaryDir>
#include <QtTest>

using namespace quillmount;
using namespace std::chrono_literals;
using namespace Qt::StringLiterals;

namespace {

using Bar = PanelPlacement::Bar;

constexpr QRect screen(0, 0, 1280, 800);
constexpr QRect second(1280, 100, 1024, 768);
constexpr QSize size(340, 400);

} // namespace

class PanelWindowTest : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void init();
    void cleanup();
    void placement_data();
    void placement();
    void clicks();
    void focusLoss();
    void withoutBar();
    void theBarsMove();

private:
    void elapse(Clock::Duration time) { m_platform->clock().advance(time); }
    void turnAway();

    std::unique_ptr<ScopedPlatform> m_platform;
    QTemporaryDir m_directory;
    std::unique_ptr<QQmlEngine> m_engine;
    std::unique_ptr<PanelWindow> m_panel;
    std::unique_ptr<QWindow> m_other;
};

void PanelWindowTest::init() {
    QFile view(m_directory.filePath(u"View.qml"_s));
    QVERIFY(view.open(QIODevice::WriteOnly));
    view.write("import QtQuick\nItem {\n property real maximumHeight\n property bool framed\n signal closeRequested\n"
               " implicitWidth: 340\n implicitHeight: 200\n FocusScope { Item { objectName: \"button\" } }\n}\n");
    view.close();
    m_platform = std::make_unique<ScopedPlatform>();
    m_engine = std::make_unique<QQmlEngine>();
    m_panel = std::make_unique<PanelWindow>(*m_engine, QUrl::fromLocalFile(view.fileName()), QVariantMap());
}

void PanelWindowTest::cleanup() {
    m_other.reset();
    m_panel.reset();
    m_engine.reset();
    m_platform.reset();
}

void PanelWindowTest::turnAway() {
    m_other = std::make_unique<QWindow>();
    m_other->show();
    m_other->requestActivate();
}

void PanelWindowTest::placement_data() {
    QTest::addColumn<MenuBarExtra::Anchor>("anchor");
    QTest::addColumn<QRect>("whole");
    QTest::addColumn<QRect>("available");
    QTest::addColumn<QPoint>("corner");

    const QRect topBar = screen.adjusted(0, 30, 0, 0);
    const QRect bottomBar = screen.adjusted(0, 0, 0, -40);
    const auto icon = [](int x, int y) { return MenuBarExtra::Anchor{QRect(x, y, 20, 20), {}, {}}; };
    const auto pointer = [](int x, int y) { return MenuBarExtra::Anchor{{}, QPoint(x, y), {}}; };
    QTest::addRow("icon above") << icon(600, 5) << screen << topBar << QPoint(439, 30);
    QTest::addRow("icon at the right end") << icon(1255, 5) << screen << topBar << QPoint(940, 30);
    QTest::addRow("pointer below") << pointer(600, 790) << screen << bottomBar << QPoint(430, 360);
    QTest::addRow("pointer inside") << pointer(600, 400) << screen << bottomBar << QPoint(940, 360);
    QTest::addRow("pointer at the left") << pointer(10, 300) << screen << screen.adjusted(48, 0, 0, 0)
                                         << QPoint(48, 300);
    QTest::addRow("pointer low at the right")
        << pointer(1270, 780) << screen << screen.adjusted(0, 0, -48, 0) << QPoint(892, 400);
    QTest::addRow("nothing known") << MenuBarExtra::Anchor() << screen << topBar << QPoint(940, 30);
    QTest::addRow("no bar") << MenuBarExtra::Anchor() << screen << screen << QPoint(940, 0);
    QTest::addRow("second screen") << pointer(2000, 110) << second << second.adjusted(0, 24, 0, 0) << QPoint(1830, 124);
    QTest::addRow("icon of another screen") << icon(600, 5) << second << second << QPoint(1964, 100);
}

void PanelWindowTest::placement() {
    QFETCH(MenuBarExtra::Anchor, anchor);
    QFETCH(QRect, whole);
    QFETCH(QRect, available);
    QFETCH(QPoint, corner);

    const PanelPlacement placement = PanelPlacement::of(anchor, whole, available);
    QCOMPARE(placement.geometry(size, available), QRect(corner, size));
    // A panel that grows stays at its bar, and on the screen.
    const QRect tall = placement.geometry(size * 3, available);
    QVERIFY(available.contains(tall));
    QCOMPARE(placement.bar == Bar::bottom ? tall.bottom() : tall.top(),
             placement.bar == Bar::bottom ? available.bottom() : available.top());
}

void PanelWindowTest::clicks() {
    m_panel->toggle({});
    QVERIFY(m_panel->isVisible());
    m_panel->toggle({}); // the second of two clicks
    QVERIFY(m_panel->isVisible());
    elapse(301ms);
    m_panel->toggle({});
    QVERIFY(!m_panel->isVisible());
    // It opens without a focus, whatever had it before.
    auto *button = m_panel->view().rootObject()->findChild<QQuickItem *>(u"button"_s);
    button->forceActiveFocus();
    QVERIFY(button->hasActiveFocus());
    elapse(301ms);
    m_panel->toggle({});
    QVERIFY(!button->hasActiveFocus());
    QMetaObject::invokeMethod(m_panel->view().rootObject(), "closeRequested");
    QVERIFY(!m_panel->isVisible());
}

void PanelWindowTest::focusLoss() {
    m_panel->toggle({});
    QTRY_VERIFY(m_panel->view().isActive());
    elapse(1s);
    turnAway();
    QTRY_VERIFY(!m_panel->isVisible());
    m_panel->toggle({}); // the click that took the focus
    QVERIFY(!m_panel->isVisible());
    elapse(301ms);
    m_panel->toggle({});
    QVERIFY(m_panel->isVisible());
}

void PanelWindowTest::withoutBar() {
    m_platform->menuBarExtra().setAvailable(false);
    m_panel->open({});
    QTRY_VERIFY(m_panel->view().isActive());
    QVERIFY(!m_panel->view().flags().testFlag(Qt::FramelessWindowHint));
    QVERIFY(!m_panel->view().rootObject()->property("framed").toBool());
    turnAway();
    QTRY_VERIFY(!m_panel->view().isActive());
    QCoreApplication::processEvents();
    QVERIFY(m_panel->isVisible());
    m_panel->view().rootObject()->setImplicitHeight(300);
    QCOMPARE(m_panel->view().height(), 300);
    // The title bar has to be on the screen as well.
    QVERIFY(m_panel->view().rootObject()->property("maximumHeight").toInt() <
            m_panel->view().screen()->availableGeometry().height());
    m_panel->view().close();
    QVERIFY(!m_panel->isVisible());
}

void PanelWindowTest::theBarsMove() {
    m_panel->toggle({});
    const QPoint corner = m_panel->view().position();
    m_panel->view().setPosition(corner + QPoint(-50, 70));
    QScreen *current = m_panel->view().screen();
    Q_EMIT current->availableGeometryChanged(current->availableGeometry());
    QCOMPARE(m_panel->view().position(), corner);
}

QTEST_MAIN(PanelWindowTest)
#include "PanelWindowTest.moc"
