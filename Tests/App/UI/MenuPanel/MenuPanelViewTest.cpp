// SPDX-License-Identifier: LicenseRef-Quillmount
// The panel in a window: its keys, its change from one body to the next, and what a screen reader finds in it.
#include "App/UI/MenuPanel/MenuPanelModel.h"
#include "Platform/Testing/ScopedPlatform.h"
#include "Tests/Support/SpokenTree.h"

#include <QAccessible>
#include <QQmlComponent>
#include <QQmlContext>
#include <QQmlEngine>
#include <QQuickItem>
#include <QQuickWindow>
#include <QSignalSpy>
#include <QtTest>

using namespace quillmount;
using namespace Qt::StringLiterals;

namespace {

DriveSnapshot drive(DriveState state, qint64 pending = 0, qint64 errored = 0) {
    DriveSnapshot drive;
    drive.state = state;
    drive.stats.uploadsQueued = pending;
    drive.stats.erroredFiles = errored;
    drive.quota = DriveQuota{.total = 2'000'000'000'000, .used = 0, .free = 2'000'000'000'000};
    drive.email = u"jo@example.com"_s;
    return drive;
}

// The panel's window, with what it was asked for.
struct Scene {
    explicit Scene(const DriveSnapshot &drive)
        : model(drive) {
        QObject::connect(&engine, &QQmlEngine::warnings, &engine, [](const QList<QQmlError> &warnings) {
            qFatal("%s", qPrintable(warnings.first().toString()));
        });
        QObject::connect(&model, &MenuPanelModel::actionRequested, &engine,
                         [this](PanelAction action) { actions.append(action); });
        QObject::connect(&model, &MenuPanelModel::revealRequested, &engine,
                         [this](const QString &id) { revealed.append(id); });
        engine.rootContext()->setContextProperty(u"panelModel"_s, &model);
        QQmlComponent component(&engine);
        component.setData("import QtQuick\nimport Quillmount.MenuPanel\n"
                          "Window { visible: true; width: 340; height: panel.implicitHeight\n"
                          "property bool wantsClose: false\n"
                          "MenuPanel { id: panel; objectName: \"panel\"; anchors.fill: parent; panel: panelModel\n"
                          "onCloseRequested: wantsClose = true } }",
                          QUrl(u"qrc:/test"_s));
        window.reset(qobject_cast<QQuickWindow *>(component.create()));
        if (!window)
            qFatal("%s", qPrintable(component.errorString()));
        window->requestActivate();
        isReady = QTest::qWaitForWindowActive(window.get());
    }

    void press(Qt::Key key, Qt::KeyboardModifiers modifiers = {}) { QTest::keyClick(window.get(), key, modifiers); }
    [[nodiscard]] QList<PanelAction> takeActions() { return std::exchange(actions, {}); }

    ScopedPlatform platform;
    MenuPanelModel model;
    QQmlEngine engine;
    std::unique_ptr<QQuickWindow> window;
    QList<PanelAction> actions;
    QStringList revealed;
    bool isReady = false;
};

} // namespace

class MenuPanelViewTest : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void initTestCase() { QQuickWindow::setGraphicsApi(QSGRendererInterface::Software); }
    void keys();
    void bodiesChange();
    void screenReader();
};

void MenuPanelViewTest::keys() {
    DriveSnapshot uploading = drive(DriveState::live, 1, 1);
    uploading.stats.transfers = {{u"folder/a"_s, u"a"_s, 40}};
    Scene scene(uploading);
    QVERIFY(scene.isReady);
    using enum PanelAction;
    scene.press(Qt::Key_Return);
    scene.press(Qt::Key_Enter);
    QCOMPARE(scene.takeActions(), (QList{openDrive, openDrive}));
    scene.press(Qt::Key_Tab);
    scene.press(Qt::Key_Return);
    scene.press(Qt::Key_Space);
    QCOMPARE(scene.revealed, QStringList({u"folder/a"_s, u"folder/a"_s}));
    for (int i = 0; i < 6; ++i) {
        scene.press(Qt::Key_Tab);
        scene.press(Qt::Key_Return);
    }
    QCOMPARE(scene.takeActions(), (QList{openWebDrive, openDrive, contactSupport, eject, openSettings, quit}));
    scene.press(Qt::Key_Comma, Qt::ControlModifier);
    scene.press(Qt::Key_Q, Qt::ControlModifier);
    QCOMPARE(scene.takeActions(), (QList{openSettings, quit}));
    scene.press(Qt::Key_Escape);
    QVERIFY(scene.window->property("wantsClose").toBool());
}

void MenuPanelViewTest::bodiesChange() {
    Scene scene(drive(DriveState::live));
    QVERIFY(scene.isReady);
    for (int i = 0; i < 3; ++i)
        scene.press(Qt::Key_Tab); // to Eject
    const int former = scene.window->height();
    QList<int> heights;
    QObject::connect(scene.window.get(), &QWindow::heightChanged, scene.window.get(),
                     [&](int height) { heights.append(height); });
    scene.model.update(drive(DriveState::ejecting, 1));
    scene.press(Qt::Key_Return);
    QCOMPARE(scene.takeActions(), QList<PanelAction>());
    // Nothing of the former body is in the way, although it is still to be seen.
    const auto texts = [&] { return spokenTree(QAccessible::queryAccessibleInterface(scene.window.get())); };
    QTRY_VERIFY(texts().contains(u"Eject Now"_s));
    scene.press(Qt::Key_Tab);
    scene.press(Qt::Key_Return);
    QCOMPARE(scene.takeActions(), QList{PanelAction::cancelEject});
    QTRY_VERIFY(!heights.isEmpty());
    // The former body goes, and all of the change of height was one step.
    QQuickItem *panel = scene.window->findChild<QQuickItem *>(u"panel"_s);
    QTRY_VERIFY(!texts().contains(u"Open Drive"_s));
    QCOMPARE(heights.size(), 1);
    QVERIFY(heights.first() < former);
    QVERIFY(texts().contains(u"Uploading 1 file, then ejecting"_s));
    scene.model.update(drive(DriveState::stopped));
    QTRY_COMPARE(heights.size(), 2);
    QTRY_VERIFY(!texts().contains(u"Eject Now"_s));
    QCOMPARE(heights.size(), 2);

    // Too low a screen: the footer stays.
    panel->setProperty("maximumHeight", 160);
    QTRY_COMPARE(scene.window->height(), 160);
    scene.press(Qt::Key_Tab);
    scene.press(Qt::Key_Return);
    QCOMPARE(scene.takeActions(), QList{PanelAction::start});
}

void MenuPanelViewTest::screenReader() {
    DriveSnapshot uploading = drive(DriveState::live, 1);
    uploading.stats.transfers = {{u"a"_s, u"a.txt"_s, 40}};
    const Scene scene(uploading);
    QVERIFY(scene.isReady);
    const QStringList expected{
        u"Quillmount"_s,
        u"Status: Uploading"_s,
        u"1 files uploading to Google Drive"_s,
        u"Uploading 1 file"_s,
        u"Keep working; your changes are already saved on this Mac."_s,
        u"Uploading a.txt, 40 percent"_s,
        u"Google Drive: 2 TB free of 2 TB"_s,
        u"Recent files on this Mac: 0 KB of 0 KB max"_s,
        u"See your files on Google Drive"_s,
        u"Open Drive"_s,
        u"Eject"_s,
        u"jo@example.com"_s,
        u"Settings"_s,
        u"Quit"_s,
    };
    QCOMPARE(spokenTree(QAccessible::queryAccessibleInterface(scene.window.get())), expected);
}

QTEST_MAIN(MenuPanelViewTest)
#include "MenuPanelViewTest.moc"
