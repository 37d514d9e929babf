// SPDX-License-Identifier: LicenseRef-Quillmount
// The menu-bar item in a bar as desktops have it.
#include "Platform/Linux/LinuxMenuBarExtra.h"
#include "Platform/SystemClock.h"
#include "Tests/Support/Desktop.h"

#include <QApplication>
#include <QSignalSpy>
#include <QTest>

using namespace quillmount;
using namespace Qt::StringLiterals;

class MenuBarOnDesktopTest : public QObject {
    Q_OBJECT

public:
    explicit MenuBarOnDesktopTest(Desktop &desktop)
        : m_desktop(desktop) {}

private Q_SLOTS:
    void isSeenAndClicked();

private:
    // Waits until the bar shows the item, or no longer does, and tells where.
    [[nodiscard]] QPoint position(bool isShown = true) const {
        QPoint found;
        (void)QTest::qWaitFor([&] { return (found = m_desktop.centreOf(colour)).isNull() != isShown; }, 20'000);
        return found;
    }

    static constexpr QRgb colour = 0xff2255cc;
    Desktop &m_desktop;
};

void MenuBarOnDesktopTest::isSeenAndClicked() {
    SystemClock clock;
    LinuxMenuBarExtra extra(clock);
    QList<QImage> image;
    for (const int size : {16, 22, 24, 32, 48, 64}) {
        image.append(QImage(size, size, QImage::Format_ARGB32_Premultiplied));
        image.last().fill(colour);
    }
    extra.setImage(image);
    extra.setMenu({{u"status"_s, u"Quillmount, connected"_s, false}, {u"open"_s, u"Open Quillmount"_s}});

    // The bar comes late and comes again.
    QVERIFY(!extra.isAvailable());
    m_desktop.setBar(Desktop::Bar::there);
    QVERIFY(!position().isNull() && extra.isAvailable());
    m_desktop.setBar(Desktop::Bar::missing);
    QTRY_VERIFY(!extra.isAvailable());
    m_desktop.setBar(Desktop::Bar::there);
    const QPoint icon = position();
    QVERIFY(!icon.isNull());

    QSignalSpy activated(&extra, &MenuBarExtra::activated);
    m_desktop.click(icon);
    QTRY_COMPARE(activated.size(), 1);
    QCOMPARE(activated[0][0].value<MenuBarExtra::Anchor>().pointer, std::optional(icon));

    QSignalSpy chosen(&extra, &MenuBarExtra::menuItemChosen);
    // The first item that can be chosen. Keys that come before the menu is there are lost, and a busy bar may lose a
    // click.
    const auto choose = [&] {
        m_desktop.press(u"Down"_s);
        m_desktop.press(u"Return"_s);
        return !chosen.isEmpty();
    };
    for (int attempt = 0; attempt < 5 && chosen.isEmpty(); ++attempt) {
        m_desktop.click(icon, 3);
        (void)QTest::qWaitFor(choose, 4000);
        m_desktop.press(u"Escape"_s);
    }
    QVERIFY(!chosen.isEmpty());
    QCOMPARE(chosen[0][0].toString(), u"open"_s);

    extra.hide();
    QVERIFY(position(false).isNull());
}

int main(int argc, char *argv[]) {
    Desktop desktop(Desktop::Bar::missing);
    desktop.exportEnvironment();
    QApplication application(argc, argv);
    MenuBarOnDesktopTest test(desktop);
    return QTest::qExec(&test, argc, argv);
}
#include "MenuBarOnDesktopTest.moc"
