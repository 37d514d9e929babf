// SPDX-License-Identifier: LicenseRef-Quillmount
#include "Platform/Linux/LinuxMenuBarExtra.h"
#include "Platform/Linux/SessionBus.h"
#include "Platform/Testing/ManualClock.h"
#include "Tests/Support/PrivateBus.h"

#include <QDBusConnectionInterface>
#include <QDBusMessage>
#include <QDBusPendingReply>
#include <QGuiApplication>
#include <QSignalSpy>
#include <QTest>

using namespace quillmount;
using namespace Qt::StringLiterals;

// A bar: it keeps the list of items, and listens to what they say.
class Bar : public QObject {
    Q_OBJECT
    Q_CLASSINFO("D-Bus Interface", "org.kde.StatusNotifierWatcher")
    Q_PROPERTY(bool IsStatusNotifierHostRegistered MEMBER showsItems SCRIPTABLE true)

public:
    Bar(PrivateBus &bus, bool showsTheItems = true)
        : showsItems(showsTheItems)
        , connection(bus.join(name))
        , m_bus(bus) {
        connection.registerObject(u"/StatusNotifierWatcher"_s, this, QDBusConnection::ExportScriptableContents);
        for (const QString &signal : {u"NewIcon"_s, u"NewTitle"_s, u"NewToolTip"_s})
            connection.connect({}, {}, u"org.kde.StatusNotifierItem"_s, signal, this, SLOT(hear(QDBusMessage)));
        for (const QString &signal : {u"LayoutUpdated"_s, u"ItemsPropertiesUpdated"_s})
            connection.connect({}, {}, u"com.canonical.dbusmenu"_s, signal, this, SLOT(hear(QDBusMessage)));
        connection.registerService(u"org.kde.StatusNotifierWatcher"_s);
    }
    ~Bar() override {
        connection = QDBusConnection(QString());
        m_bus.leave(name);
    }
    Q_DISABLE_COPY_MOVE(Bar)

    QDBusMessage ask(const QString &path, const QString &interface, const QString &method,
                     const QVariantList &arguments) {
        QDBusMessage message = QDBusMessage::createMethodCall(items.last(), path, interface, method);
        message.setArguments(arguments);
        const QDBusPendingCall answer = connection.asyncCall(message);
        if (!QTest::qWaitFor([&answer] { return answer.isFinished(); }))
            qFatal("no answer to %s", qPrintable(method));
        return answer.reply();
    }
    // The answer of the item.
    QVariantList call(const QString &path, const QString &interface, const QString &method,
                      const QVariantList &arguments) {
        const QDBusMessage answer = ask(path, interface, method, arguments);
        if (answer.type() == QDBusMessage::ErrorMessage)
            qFatal("an error: %s", qPrintable(answer.errorMessage()));
        return answer.arguments();
    }
    QVariantList menuCall(const QString &method, const QVariantList &arguments) {
        return call(u"/MenuBar"_s, u"com.canonical.dbusmenu"_s, method, arguments);
    }
    void click(int number) {
        menuCall(u"Event"_s, {number, u"clicked"_s, QVariant::fromValue(QDBusVariant(0)), QVariant(0U)});
    }

    bool showsItems;
    QStringList items;
    QStringList heard;
    QDBusConnection connection;

public Q_SLOTS:
    Q_SCRIPTABLE void RegisterStatusNotifierItem(const QString &service) { items.append(service); }
    void hear(const QDBusMessage &message) { heard.append(message.member()); }

Q_SIGNALS:
    Q_SCRIPTABLE void StatusNotifierHostRegistered();

private:
    static inline const QString name = u"bar"_s;
    PrivateBus &m_bus;
};

namespace {

QList<QImage> image(QRgb colour) {
    QImage pixel(1, 1, QImage::Format_ARGB32);
    pixel.fill(colour);
    return {pixel};
}

const QList<MenuBarExtra::MenuItem> menu = {
    {u"status"_s, u"Quillmount, connected"_s, false}, {{}, {}, true, true}, {u"open"_s, u"Open my_drive"_s}};

} // namespace

class LinuxMenuBarExtraTest : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void standsInEachBarThatComes_data();
    void standsInEachBarThatComes();
    void aListThatNobodyShows();
    void tellsWhatChanges();
    void itsMenuIsUsed();
    void withoutABus();

private:
    PrivateBus m_bus;
    ManualClock m_clock;
};

void LinuxMenuBarExtraTest::standsInEachBarThatComes_data() {
    QTest::addColumn<bool>("isFirst");
    QTest::newRow("bar first") << true;
    QTest::newRow("bar late") << false;
}

void LinuxMenuBarExtraTest::standsInEachBarThatComes() {
    QFETCH(bool, isFirst);
    std::optional<Bar> bar;
    if (isFirst)
        bar.emplace(m_bus);
    std::optional<LinuxMenuBarExtra> extra(m_clock);
    extra->setImage(image(0xff112233));
    QVERIFY(!extra->isAvailable());
    if (!isFirst) {
        // The bus answers in order: so it has said by then that there is no bar.
        QTRY_VERIFY(QDBusConnection(u"quillmount menu bar"_s).isConnected());
        QVERIFY(!QDBusConnection(u"quillmount menu bar"_s)
                     .interface()
                     ->isServiceRegistered(u"org.kde.StatusNotifierWatcher"_s));
        bar.emplace(m_bus);
    }
    QTRY_VERIFY(extra->isAvailable() && bar->items.size() == 1);
    bar.reset();
    QTRY_VERIFY(!extra->isAvailable());
    bar.emplace(m_bus);
    QTRY_VERIFY(extra->isAvailable() && bar->items.size() == 1);
    // The bus tells the bar that the item has left it.
    extra->hide();
    QTRY_VERIFY(!bar->connection.interface()->isServiceRegistered(bar->items.first()));
}

void LinuxMenuBarExtraTest::aListThatNobodyShows() {
    Bar bar(m_bus, false);
    LinuxMenuBarExtra extra(m_clock);
    extra.setImage(image(0xff112233));
    QTRY_COMPARE(bar.items.size(), 1);
    QVERIFY(!extra.isAvailable());
    bar.showsItems = true;
    Q_EMIT bar.StatusNotifierHostRegistered();
    QTRY_VERIFY(extra.isAvailable());
}

void LinuxMenuBarExtraTest::tellsWhatChanges() {
    Bar bar(m_bus);
    LinuxMenuBarExtra extra(m_clock);
    const auto set = [&extra](const QString &text) {
        extra.setImage(image(0x80ff0000));
        extra.setToolTip(text, u"a < b"_s);
        extra.setMenu(menu);
    };
    set(u"Quillmount, connected"_s);
    QTRY_COMPARE(bar.items.size(), 1);
    const QVariantMap properties =
        qdbus_cast<QVariantMap>(bar.call(u"/StatusNotifierItem"_s, u"org.freedesktop.DBus.Properties"_s, u"GetAll"_s,
                                         {u"org.kde.StatusNotifierItem"_s})
                                    .first());
    QCOMPARE(properties.value(u"Title"_s).toString(), u"Quillmount, connected"_s);
    QCOMPARE(properties.value(u"IconAccessibleDesc"_s).toString(), u"Quillmount, connected"_s);
    const auto pixmaps = qdbus_cast<QList<NotifierPixmap>>(properties.value(u"IconPixmap"_s));
    QCOMPARE(pixmaps.first().pixels.toHex(), QByteArray("80ff0000"));
    QCOMPARE(qdbus_cast<NotifierToolTip>(properties.value(u"ToolTip"_s)).text, u"a &lt; b"_s);

    bar.heard.clear();
    set(u"Quillmount, connected"_s);
    set(u"Quillmount, offline"_s);
    QTRY_COMPARE(bar.heard, QStringList({u"NewTitle"_s, u"NewToolTip"_s}));
    QList<MenuBarExtra::MenuItem> items = menu;
    items[0].text = u"Quillmount, offline"_s;
    extra.setMenu(items);
    QTRY_COMPARE(bar.heard.mid(2), QStringList(u"ItemsPropertiesUpdated"_s));
    items.removeLast();
    extra.setMenu(items);
    QTRY_COMPARE(bar.heard.mid(3), QStringList(u"LayoutUpdated"_s));
}

void LinuxMenuBarExtraTest::itsMenuIsUsed() {
    Bar bar(m_bus);
    LinuxMenuBarExtra extra(m_clock);
    extra.setImage(image(0xff112233));
    extra.setMenu(menu);
    QTRY_COMPARE(bar.items.size(), 1);
    const auto layout = qdbus_cast<NotifierMenuLayout>(bar.menuCall(u"GetLayout"_s, {0, -1, QStringList()}).at(1));
    QList<NotifierMenuItem> items;
    for (const QDBusVariant &child : layout.children)
        items.append(qdbus_cast<NotifierMenuLayout>(child.variant()).item);
    QCOMPARE(items.size(), 3);
    QCOMPARE(items[0].properties.value(u"enabled"_s), false);
    QCOMPARE(items[1].properties, QVariantMap({{u"type"_s, u"separator"_s}}));
    QCOMPARE(items[2].properties.value(u"label"_s), u"Open my__drive"_s);

    QCOMPARE(bar.ask(u"/MenuBar"_s, u"com.canonical.dbusmenu"_s, u"GetLayout"_s, {77, -1, QStringList()}).type(),
             QDBusMessage::ErrorMessage);

    QSignalSpy chosen(&extra, &MenuBarExtra::menuItemChosen);
    QSignalSpy activated(&extra, &MenuBarExtra::activated);
    // The user sees the old menu and clicks while the new one is on its way.
    extra.setMenu({{u"quit"_s, u"Quit"_s}, menu[0], menu[2]});
    for (const NotifierMenuItem &item : std::as_const(items))
        bar.click(item.number);
    QTRY_COMPARE(chosen.size(), 1);
    QCOMPARE(chosen.first().first(), u"open"_s);

    const auto callItem = [&bar](const QString &method, const QVariantList &arguments) {
        bar.call(u"/StatusNotifierItem"_s, u"org.kde.StatusNotifierItem"_s, method, arguments);
    };
    callItem(u"ProvideXdgActivationToken"_s, {u"token"_s});
    for (int click = 0; click < 2; ++click)
        callItem(u"Activate"_s, {1, 1});
    QTRY_COMPARE(activated.size(), 2);
    const auto tokenOf = [&activated](int click) {
        return activated[click].first().value<MenuBarExtra::Anchor>().activationToken;
    };
    QCOMPARE(tokenOf(0), QByteArray("token"));
    QCOMPARE(tokenOf(1), QByteArray());
}

void LinuxMenuBarExtraTest::withoutABus() {
    Bar bar(m_bus);
    const QByteArray address = qgetenv("DBUS_SESSION_BUS_ADDRESS");
    qputenv("DBUS_SESSION_BUS_ADDRESS", "disabled:");
    LinuxMenuBarExtra extra(m_clock);
    extra.setImage(image(0xff112233));
    QCoreApplication::processEvents();
    QCOMPARE(m_clock.pending(), 0);
    QVERIFY(!QDBusConnection(u"quillmount menu bar"_s).isConnected());
    extra.hide();
    qputenv("DBUS_SESSION_BUS_ADDRESS", address);
}

QTEST_MAIN(LinuxMenuBarExtraTest)
#include "LinuxMenuBarExtraTest.moc"
