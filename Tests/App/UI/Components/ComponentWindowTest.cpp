// SPDX-License-Identifier: LicenseRef-Quillmount
#include "App/UI/Components/FrameTime.h"
#include "Platform/Testing/ScopedPlatform.h"

#include <QAccessible>
#include <QPalette>
#include <QQmlComponent>
#include <QQmlEngine>
#include <QQuickItem>
#include <QQuickWindow>
#include <QSignalSpy>
#include <QTest>

using namespace quillmount;
using namespace Qt::StringLiterals;

// What only shows in a window: time, focus and keys.
class ComponentWindowTest : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void initTestCase() { QQuickWindow::setGraphicsApi(QSGRendererInterface::Software); }
    void nothingMovesUnseen();
    void returnPressesTheFocusedButton();
    void coloursFollowTheAppearance();
    void screenReadersSeeOneElementEach();

private:
    // A window with this in it, shown.
    std::unique_ptr<QQuickWindow> open(QQmlEngine &engine, const QString &qml);
};

std::unique_ptr<QQuickWindow> ComponentWindowTest::open(QQmlEngine &engine, const QString &qml) {
    QQmlComponent component(&engine);
    component.setData(
        (u"import QtQuick\nimport Quillmount.Components\nWindow { width: 340; height: 200; visible: true\n"_s + qml +
         u"}"_s)
            .toUtf8(),
        QUrl(u"qrc:/test"_s));
    std::unique_ptr<QQuickWindow> window(qobject_cast<QQuickWindow *>(component.create()));
    if (!window || !QTest::qWaitForWindowExposed(window.get()))
        qFatal("no window: %s", qPrintable(component.errorString()));
    return window;
}

void ComponentWindowTest::nothingMovesUnseen() {
    ScopedPlatform platform;
    QQmlEngine engine;
    const auto window = open(engine, uR"(Column {
        StatusPill { label: "Uploading"; pulsing: true }
        RouteDiagram { movingCount: 2 }
        Spinner {}
    })"_s);
    const QList<FrameTime *> times = window->findChildren<FrameTime *>();
    QCOMPARE(times.size(), 3);
    const auto running = [&] {
        return std::count_if(times.begin(), times.end(), [](auto *time) { return time->isRunning(); });
    };
    QTRY_COMPARE(running(), 3);
    QTRY_VERIFY(times[0]->seconds() > 0);
    platform.appearance().setReducesMotion(true);
    QCOMPARE(running(), 0);
    QCOMPARE(times[0]->seconds(), 0.0);
    platform.appearance().setReducesMotion(false);
    QCOMPARE(running(), 3);
    window->contentItem()->setVisible(false);
    QCOMPARE(running(), 0);
    window->contentItem()->setVisible(true);

    window->hide();
    QTRY_COMPARE(running(), 0);
    QSignalSpy frames(window.get(), &QQuickWindow::afterAnimating);
    QVERIFY2(!frames.wait(500), "a hidden window draws");

    window->show();
    QTRY_COMPARE(running(), 3);
    QTRY_VERIFY(!frames.isEmpty());
}

void ComponentWindowTest::returnPressesTheFocusedButton() {
    const ScopedPlatform platform;
    QQmlEngine engine;
    const auto window = open(engine, uR"(id: root
        property string pressed
        Shortcut { sequence: "Return"; onActivated: root.pressed += "window " }
        SecondaryButton { objectName: "eject"; text: "Eject"; onClicked: root.pressed += "eject " }
    )"_s);
    window->requestActivate();
    QVERIFY(QTest::qWaitForWindowActive(window.get()));
    auto *button = window->findChild<QQuickItem *>(u"eject"_s);
    // A click leaves the keys to the window.
    QTest::mouseClick(window.get(), Qt::LeftButton, {}, QPoint(10, 10));
    QTest::keyClick(window.get(), Qt::Key_Return);
    QCOMPARE(window->property("pressed").toString(), u"eject window "_s);
    QVERIFY(!button->property("focusShown").toBool());

    QTest::keyClick(window.get(), Qt::Key_Tab);
    QVERIFY(button->property("focusShown").toBool());
    QTest::keyClick(window.get(), Qt::Key_Return);
    QTest::keyClick(window.get(), Qt::Key_Enter);
    QTest::keyClick(window.get(), Qt::Key_Space);
    QCOMPARE(window->property("pressed").toString(), u"eject window eject eject eject "_s);
}

void ComponentWindowTest::coloursFollowTheAppearance() {
    const ScopedPlatform platform;
    QQmlEngine engine;
    const auto window =
        open(engine, u"property color route: Colors.route; property color ground: Colors.windowBackground"_s);
    QCOMPARE(window->property("route").value<QColor>(), QColor(0x00, 0x87, 0x5A));
    platform.appearance().setColorScheme(Appearance::ColorScheme::dark);
    QCOMPARE(window->property("route").value<QColor>(), QColor(0x1F, 0xB5, 0x7A));
    // The theme is light: its window would be unreadable.
    QCOMPARE(window->property("ground").value<QColor>(), QColor(0x1F, 0x21, 0x23));
    const QPalette theme = QGuiApplication::palette();
    QPalette dark = theme;
    dark.setColor(QPalette::Window, QColor(0x2A, 0x2E, 0x32));
    dark.setColor(QPalette::WindowText, Qt::white);
    QGuiApplication::setPalette(dark);
    // The toolkit sends it by itself only once the application's event loop runs.
    QEvent told(QEvent::ApplicationPaletteChange);
    QCoreApplication::sendEvent(qGuiApp, &told);
    QCOMPARE(window->property("ground").value<QColor>(), QColor(0x2A, 0x2E, 0x32));
    QGuiApplication::setPalette(theme);
}

void ComponentWindowTest::screenReadersSeeOneElementEach() {
    QAccessible::setActive(true);
    const ScopedPlatform platform;
    QQmlEngine engine;
    const auto window = open(engine, uR"(Column {
        StatusPill { label: "Connected" }
        RouteDiagram { movingCount: 7; leftLabel: "Mac"; rightLabel: "Drive" }
        HeadlineText { text: "Headline" }
        PlainText { text: "part of a row" }
        CellBar { width: 100; cells: 10; fraction: 0.259 }
        SecondaryButton { text: "Eject"; symbol: "eject"; tip: "Disconnect" }
    })"_s);
    QStringList found;
    QAccessibleInterface *root = QAccessible::queryAccessibleInterface(window.get());
    for (int i = 0; i < root->childCount(); ++i) {
        const QAccessibleInterface *child = root->child(i);
        found.append(QStringList{QVariant::fromValue(child->role()).toString(), child->text(QAccessible::Name),
                                 child->text(QAccessible::Description), QString::number(child->childCount())}
                         .join(u'/'));
    }
    const QStringList expected{u"StaticText/Status: Connected//0"_s, u"Graphic/7 files uploading to Google Drive//0"_s,
                               u"StaticText/Headline//0"_s, u"ProgressBar//25 percent/0"_s,
                               u"Button/Eject/Disconnect/0"_s};
    QCOMPARE(found, expected);
}

QTEST_MAIN(ComponentWindowTest)
#include "ComponentWindowTest.moc"
