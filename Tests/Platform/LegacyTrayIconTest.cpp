// SPDX-License-Identifier: LicenseRef-Quillmount
#include "Platform/Linux/LegacyTrayIcon.h"
#include "Platform/Linux/LinuxActivation.h"

#include <QApplication>
#include <QTest>
#include <QWindow>

using namespace quillmount;
using namespace Qt::StringLiterals;

class LegacyTrayIconTest : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void anOpenMenuKeepsItsItems();
    void aMinimisedWindowIsRestored();
};

void LegacyTrayIconTest::anOpenMenuKeepsItsItems() {
    LegacyTrayIcon icon;
    const QWidgetList widgets = QApplication::topLevelWidgets();
    const auto found = std::ranges::find_if(widgets, [](QWidget *widget) { return qobject_cast<QMenu *>(widget); });
    QVERIFY(found != widgets.end());
    auto &menu = *qobject_cast<QMenu *>(*found);
    const auto texts = [&menu] {
        QStringList all;
        for (const QAction *action : menu.actions())
            all.append(action->text());
        return all;
    };
    icon.setMenu({{u"status"_s, u"2 & 3"_s, false}, {u"eject"_s, u"Eject"_s}});
    menu.popup({});
    const QList<QAction *> shown = menu.actions();
    icon.setMenu({{u"status"_s, u"1 file"_s, false}, {u"eject"_s, u"Eject"_s}});
    QCOMPARE(texts(), QStringList({u"1 file"_s, u"Eject"_s}));
    icon.setMenu({{u"status"_s, u"Ejecting"_s, false}, {u"cancel"_s, u"Cancel"_s}});
    QCOMPARE(menu.actions(), shown);
    menu.close();
    QTRY_COMPARE(texts(), QStringList({u"Ejecting"_s, u"Cancel"_s}));
}

void LegacyTrayIconTest::aMinimisedWindowIsRestored() {
    QWindow window;
    window.showMinimized();
    LinuxActivation().bringToFront(window, {});
    QVERIFY(!window.windowStates().testFlag(Qt::WindowMinimized));
}

QTEST_MAIN(LegacyTrayIconTest)
#include "LegacyTrayIconTest.moc"
