// SPDX-License-Identifier: LicenseRef-Quillmount
// The settings in a window: their keys, their height, and what a screen reader finds on each tab.
#include "App/UI/Settings/SettingsModel.h"
#include "Platform/Testing/ScopedPlatform.h"
#include "Tests/Support/SpokenTree.h"

#include <QAccessible>
#include <QElapsedTimer>
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

struct Scene {
    Scene() {
        QObject::connect(&engine, &QQmlEngine::warnings, &engine, [](const QList<QQmlError> &warnings) {
            qFatal("%s", qPrintable(warnings.first().toString()));
        });
        model.account()->update({.isSignedIn = true, .email = u"jo@example.com"_s, .consequences = u"All goes."_s});
        engine.rootContext()->setContextProperty(u"settings"_s, &model);
        QQmlComponent component(&engine);
        component.setData("import QtQuick\nimport Quillmount.Settings\n"
                          "Window { visible: true; width: 520; height: view.implicitHeight\n"
                          "SettingsView { id: view; anchors.fill: parent; model: settings } }",
                          QUrl(u"qrc:/test"_s));
        window.reset(qobject_cast<QQuickWindow *>(component.create()));
        if (!window)
            qFatal("%s", qPrintable(component.errorString()));
        window->requestActivate();
        isReady = QTest::qWaitForWindowActive(window.get());
    }

    void press(Qt::Key key, Qt::KeyboardModifiers modifiers = {}) { QTest::keyClick(window.get(), key, modifiers); }
    [[nodiscard]] QString focused() const {
        const QQuickItem *item = window->activeFocusItem();
        QAccessibleInterface *spoken = item ? QAccessible::queryAccessibleInterface(window->focusObject()) : nullptr;
        return spoken ? spoken->text(QAccessible::Name) : QString();
    }
    // Puts the question, with so many files pending.
    void ask(qint64 pending) {
        model.account()->askToDisconnect();
        model.account()->setPendingOnDisk(pending);
    }

    ScopedPlatform platform;
    SettingsModel model;
    QQmlEngine engine;
    std::unique_ptr<QQuickWindow> window;
    bool isReady = false;
};

} // namespace

class SettingsViewTest : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void initTestCase() { QQuickWindow::setGraphicsApi(QSGRendererInterface::Software); }
    void tabsByKeys();
    void theListStoresOnlyChoices();
    void returnNeverDestroys();
    void licensesComeWhileTheWindowGoesOn();
    void screenReader();
};

void SettingsViewTest::tabsByKeys() {
    Scene scene;
    QVERIFY(scene.isReady);
    const QSignalSpy closes(&scene.model, &SettingsModel::closeRequested);
    QCOMPARE(scene.focused(), QString());
    const int general = scene.window->height();
    scene.press(Qt::Key_Tab);
    QCOMPARE(scene.focused(), u"General"_s);
    scene.press(Qt::Key_Right);
    QCOMPARE(scene.focused(), u"Account"_s);
    QCOMPARE(scene.model.currentTab(), 1);
    QTRY_VERIFY(scene.window->height() < general);
    scene.press(Qt::Key_End);
    QCOMPARE(scene.focused(), u"About"_s);
    scene.press(Qt::Key_Tab, Qt::ControlModifier);
    QCOMPARE(scene.model.currentTab(), 0);
    // The focus is where the Tab key leads on from.
    QCOMPARE(scene.focused(), u"General"_s);
    QTRY_COMPARE(scene.window->height(), general);
    scene.press(Qt::Key_W, Qt::ControlModifier);
    scene.press(Qt::Key_Escape);
    QCOMPARE(closes.size(), 2);
}

void SettingsViewTest::theListStoresOnlyChoices() {
    Scene scene;
    QVERIFY(scene.isReady);
    const auto stored = [&] { return scene.platform.userDefaults().get<qint64>(u"cacheSizeGB"_s).value_or(0); };
    scene.press(Qt::Key_Tab);
    scene.press(Qt::Key_Tab);
    QCOMPARE(scene.focused(), u"Recent files on this Mac: Up to 20 GB"_s);
    QCOMPARE(stored(), 0);
    scene.press(Qt::Key_Down);
    QCOMPARE(stored(), 50);
    // In the open list Escape closes the list, not the window.
    const QSignalSpy closes(&scene.model, &SettingsModel::closeRequested);
    scene.press(Qt::Key_Space);
    const auto texts = [&] { return spokenTree(QAccessible::queryAccessibleInterface(scene.window.get())); };
    QTRY_VERIFY(texts().contains(u"Up to 5 GB"_s));
    scene.press(Qt::Key_Down);
    scene.press(Qt::Key_Escape);
    QTRY_VERIFY(!texts().contains(u"Up to 5 GB"_s));
    QCOMPARE(stored(), 50);
    QCOMPARE(closes.size(), 0);
    scene.press(Qt::Key_Space);
    scene.press(Qt::Key_Down);
    scene.press(Qt::Key_Return);
    QCOMPARE(stored(), 100);
}

void SettingsViewTest::returnNeverDestroys() {
    Scene scene;
    QVERIFY(scene.isReady);
    scene.model.selectTab(1);
    const QSignalSpy counts(scene.model.account(), &AccountSettingsModel::countRequested);
    const ConfirmationModel &dialog = *scene.model.account()->confirmation();
    scene.press(Qt::Key_Tab);
    QCOMPARE(scene.focused(), u"Disconnect Account\u2026"_s);
    for (const Qt::Key key : {Qt::Key_Return, Qt::Key_Enter, Qt::Key_Escape}) {
        scene.ask(5);
        QTRY_COMPARE(scene.focused(), u"Cancel"_s);
        scene.press(Qt::Key_Tab);
        QCOMPARE(scene.focused(), u"Disconnect Anyway"_s);
        scene.press(Qt::Key_Tab); // nothing behind the dialog is reached
        QCOMPARE(scene.focused(), u"Cancel"_s);
        scene.press(Qt::Key_Backtab);
        scene.press(key);
        QVERIFY(!dialog.isOpen());
        QTRY_COMPARE(scene.focused(), u"Disconnect Account\u2026"_s);
    }
    QCOMPARE(counts.size(), 3);
    scene.ask(5);
    scene.press(Qt::Key_Tab);
    scene.press(Qt::Key_Space);
    QCOMPARE(counts.size(), 5);
}

void SettingsViewTest::licensesComeWhileTheWindowGoesOn() {
    Scene scene;
    QVERIFY(scene.isReady);
    scene.model.selectTab(2);
    const QString line =
        u"Permission is hereby granted, free of charge, to any person obtaining a copy of this text.\n"_s;
    scene.model.about()->setLicenses(line.repeated(5'000));
    qint64 longest = 0;
    QElapsedTimer turn;
    QTimer beat;
    beat.callOnTimeout([&] { longest = std::max(longest, turn.restart()); });
    beat.start(10);
    turn.start();
    scene.model.about()->showLicenses();
    auto *text = scene.window->findChild<QQuickItem *>(u"longText"_s);
    QTRY_COMPARE_WITH_TIMEOUT(text->property("length").toLongLong(), line.size() * 5'000, 50'000);
    qInfo("the longest turn took %lld ms", static_cast<long long>(longest));
    QVERIFY(longest < 1000);
    scene.press(Qt::Key_Return);
    QVERIFY(!scene.model.hasSheet());
}

void SettingsViewTest::screenReader() {
    Scene scene;
    QVERIFY(scene.isReady);
    const auto texts = [&] { return spokenTree(QAccessible::queryAccessibleInterface(scene.window.get())); };
    const QStringList tabs{u"Settings"_s, u"General"_s, u"Account"_s, u"About"_s};
    QCOMPARE(texts(), tabs + QStringList({u"Recent files on this Mac: Up to 20 GB"_s,
                                          scene.model.general()->cacheFooter(), u"Open Quillmount when I log in"_s,
                                          u"Show in Finder"_s, scene.model.general()->supportTitle()}));
    scene.model.selectTab(1);
    QCOMPARE(texts(),
             tabs + QStringList({u"Google account: jo@example.com"_s,
                                 u"Folder in Google Drive: My Drive \u203A Quillmount"_s, u"Disconnect Account\u2026"_s,
                                 scene.model.account()->footer(), u"Uninstall Quillmount\u2026"_s}));
    scene.model.selectTab(2);
    QCOMPARE(texts(), tabs + QStringList({u"Quillmount"_s, u"Version 1.0"_s, u"Contact Support"_s,
                                          u"Check for Updates\u2026"_s, u"Acknowledgements"_s}));
}

QTEST_MAIN(SettingsViewTest)
#include "SettingsViewTest.moc"
