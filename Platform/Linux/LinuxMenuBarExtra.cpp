// SPDX-License-Identifier: LicenseRef-Quillmount
#include "Platform/Linux/LinuxMenuBarExtra.h"

#include "Platform/Linux/LegacyTrayIcon.h"
#include "Platform/Linux/PlatformLog.h"
#include "Platform/Linux/SessionBus.h"

#include <QApplication>
#include <QCursor>
#include <QDBusMessage>
#include <QDBusPendingCallWatcher>
#include <QDBusPendingReply>
#include <QDBusServiceWatcher>
#include <QScreen>

#include <cstdlib>

namespace quillmount {

using namespace Qt::StringLiterals;

namespace {

constexpr auto legacyPause = std::chrono::seconds(10);

const QString watcherService = u"org.kde.StatusNotifierWatcher"_s;
const QString watcherPath = u"/StatusNotifierWatcher"_s;
// Where bars look for an item that tells them no more than the name of its connection.
const QString itemPath = u"/StatusNotifierItem"_s;
const QString menuPath = u"/MenuBar"_s;
const QString connectionName = u"quillmount menu bar"_s;

QDBusMessage watcherCall(const QString &method) {
    return QDBusMessage::createMethodCall(watcherService, watcherPath, watcherService, method);
}

// Only then does the pointer's position mean anything: under Wayland, X11 programs are told of it over their own
// windows alone.
bool isNativeX11() {
    return QGuiApplication::platformName() == "xcb"_L1 && qEnvironmentVariableIsEmpty("WAYLAND_DISPLAY") &&
           qgetenv("XDG_SESSION_TYPE") != "wayland";
}

// `told`: the place that the bar told, in pixels. It lies at the pointer after a click, and elsewhere after a key
// press.
bool isPointerAt(const std::optional<QPoint> &told, const QPoint &pointer, const QScreen &screen) {
    constexpr int tolerance = 64;
    if (!told || told->isNull())
        return false;
    const QPoint distance = *told - pointer * screen.devicePixelRatio();
    return std::abs(distance.x()) <= tolerance && std::abs(distance.y()) <= tolerance;
}

std::optional<QPoint> pointerOnItem(const std::optional<QPoint> &told) {
    if (!isNativeX11())
        return std::nullopt;
    const QPoint pointer = QCursor::pos();
    const QScreen *screen = QGuiApplication::screenAt(pointer);
    // With several screens the toolkit counts the bars as available area.
    if (!screen || (screen->availableGeometry().contains(pointer) && !isPointerAt(told, pointer, *screen)))
        return std::nullopt;
    return pointer;
}

} // namespace

LinuxMenuBarExtra::LinuxMenuBarExtra(Clock &clock)
    : m_clock(clock)
    , m_item(menuPath) {
    connect(&m_item, &StatusNotifierItem::activated, this,
            [this](int x, int y, const QByteArray &token) { activate(QPoint(x, y), token); });
    // The bar has its answer before the application acts on the call.
    connect(&m_item, &StatusNotifierItem::secondaryActivated, this, &MenuBarExtra::secondaryActivated,
            Qt::QueuedConnection);
    connect(&m_menu, &StatusNotifierMenu::chosen, this, &MenuBarExtra::menuItemChosen, Qt::QueuedConnection);
    if (SessionBus::isThere())
        QMetaObject::invokeMethod(this, &LinuxMenuBarExtra::connectToBus, Qt::QueuedConnection);
}

LinuxMenuBarExtra::~LinuxMenuBarExtra() {
    hide();
}

void LinuxMenuBarExtra::setImage(const QList<QImage> &sizes) {
    if (m_image == sizes)
        return;
    const bool isFirst = m_image.isEmpty();
    m_image = sizes;
    m_item.setImage(sizes);
    if (m_legacy)
        m_legacy->setImage(sizes);
    if (isFirst && !m_owner.isEmpty())
        registerItem();
}

void LinuxMenuBarExtra::setToolTip(const QString &text, const QString &detail) {
    m_text = text;
    m_detail = detail;
    m_item.setToolTip(text, detail);
    if (m_legacy)
        m_legacy->setToolTip(text, detail);
}

void LinuxMenuBarExtra::setMenu(const QList<MenuItem> &items) {
    if (m_items == items)
        return;
    m_items = items;
    m_menu.setItems(items);
    if (m_legacy)
        m_legacy->setMenu(items);
}

void LinuxMenuBarExtra::hide() {
    m_isHidden = true;
    m_owner.clear();
    m_legacyTimer.reset();
    m_legacy.reset();
    if (!m_connection)
        return;
    // The bar lets an item go when its connection ends; there is no call for it.
    for (auto *watcher : findChildren<QDBusServiceWatcher *>())
        delete watcher;
    m_connection.reset();
    QDBusConnection::disconnectFromBus(connectionName);
}

void LinuxMenuBarExtra::connectToBus() {
    if (m_isHidden)
        return;
    m_connection = QDBusConnection::connectToBus(QDBusConnection::SessionBus, connectionName);
    if (!m_connection->isConnected()) {
        qCWarning(platformLog).noquote() << "no menu-bar item without a session bus:"
                                         << m_connection->lastError().message();
        return;
    }
    constexpr auto exported = QDBusConnection::ExportScriptableContents;
    if (!m_connection->registerObject(itemPath, &m_item, exported) ||
        !m_connection->registerObject(menuPath, &m_menu, exported))
        qCWarning(platformLog, "the menu-bar item cannot be put on the session bus");
    watchBars();
    waitForLegacyTray();
}

void LinuxMenuBarExtra::watchBars() {
    auto *watcher =
        new QDBusServiceWatcher(watcherService, *m_connection, QDBusServiceWatcher::WatchForOwnerChange, this);
    connect(watcher, &QDBusServiceWatcher::serviceOwnerChanged, this,
            [this](const QString &, const QString &, const QString &owner) { setOwner(owner); });
    // From any sender: with a name Qt would first wait for the bus to say whose it is.
    for (const QString &change : {u"StatusNotifierHostRegistered"_s, u"StatusNotifierHostUnregistered"_s})
        m_connection->connect(QString(), watcherPath, watcherService, change, this, SLOT(askForHost()));
    QDBusMessage question = QDBusMessage::createMethodCall(u"org.freedesktop.DBus"_s, u"/org/freedesktop/DBus"_s,
                                                           u"org.freedesktop.DBus"_s, u"GetNameOwner"_s);
    question << watcherService;
    whenAnswered(m_connection->asyncCall(question), [this](const QDBusPendingCall &answer) {
        const QDBusPendingReply<QString> owner = answer;
        // An error says that there is none, yet or any more: the watcher tells of the next.
        if (!owner.isError() && m_owner.isEmpty())
            setOwner(owner.value());
    });
}

template <typename Then>
void LinuxMenuBarExtra::whenAnswered(const QDBusPendingCall &call, Then then) {
    auto *watcher = new QDBusPendingCallWatcher(call, this);
    connect(watcher, &QDBusPendingCallWatcher::finished, this, [watcher, then, this] {
        watcher->deleteLater();
        if (!m_isHidden)
            then(*watcher);
    });
}

void LinuxMenuBarExtra::setOwner(const QString &owner) {
    m_owner = owner;
    m_hasHost = false;
    m_isRefused = false;
    m_legacy.reset();
    if (owner.isEmpty()) {
        waitForLegacyTray();
    } else {
        m_legacyTimer.reset();
        askForHost();
        if (!m_image.isEmpty())
            registerItem();
    }
    updateAvailable();
}

void LinuxMenuBarExtra::askForHost() {
    if (m_owner.isEmpty())
        return;
    QDBusMessage question =
        QDBusMessage::createMethodCall(watcherService, watcherPath, u"org.freedesktop.DBus.Properties"_s, u"Get"_s);
    question << watcherService << u"IsStatusNotifierHostRegistered"_s;
    whenAnswered(m_connection->asyncCall(question), [this, owner = m_owner](const QDBusPendingCall &answer) {
        if (owner != m_owner)
            return;
        const QDBusPendingReply<QDBusVariant> hasHost = answer;
        // One that does not say is taken for a bar.
        m_hasHost = hasHost.isError() || hasHost.value().variant().toBool();
        updateAvailable();
    });
}

void LinuxMenuBarExtra::registerItem() {
    QDBusMessage message = watcherCall(u"RegisterStatusNotifierItem"_s);
    message << m_connection->baseService();
    whenAnswered(m_connection->asyncCall(message), [this, owner = m_owner](const QDBusPendingCall &answer) {
        if (owner != m_owner || !answer.isError())
            return;
        qCWarning(platformLog).noquote() << "the bar refuses the menu-bar item:" << answer.error().message();
        m_isRefused = true;
        updateAvailable();
    });
}

void LinuxMenuBarExtra::waitForLegacyTray() {
    // The older tray is an affair of widgets.
    if (QGuiApplication::platformName() == "xcb"_L1 && qobject_cast<QApplication *>(QCoreApplication::instance()))
        m_legacyTimer = std::make_unique<RepeatingTimer>(m_clock, legacyPause, [this] { lookForLegacyTray(); });
}

void LinuxMenuBarExtra::lookForLegacyTray() {
    if (!m_legacy && LegacyTrayIcon::isTrayThere()) {
        m_legacy = std::make_unique<LegacyTrayIcon>();
        connect(m_legacy.get(), &LegacyTrayIcon::activated, this, [this] { activate(std::nullopt, {}); });
        connect(m_legacy.get(), &LegacyTrayIcon::secondaryActivated, this, &MenuBarExtra::secondaryActivated);
        connect(m_legacy.get(), &LegacyTrayIcon::chosen, this, &MenuBarExtra::menuItemChosen, Qt::QueuedConnection);
        m_legacy->setToolTip(m_text, m_detail);
        m_legacy->setMenu(m_items);
        m_legacy->setImage(m_image);
    } else if (m_legacy && !LegacyTrayIcon::isTrayThere()) {
        m_legacy.reset();
    }
    updateAvailable();
}

void LinuxMenuBarExtra::updateAvailable() {
    const bool isAvailable = m_legacy || (!m_owner.isEmpty() && m_hasHost && !m_isRefused);
    if (std::exchange(m_isAvailable, isAvailable) != isAvailable)
        Q_EMIT availableChanged();
}

void LinuxMenuBarExtra::activate(const std::optional<QPoint> &told, const QByteArray &token) {
    Anchor anchor;
    if (m_legacy)
        anchor.icon = m_legacy->geometry();
    if (!anchor.icon)
        anchor.pointer = pointerOnItem(told);
    anchor.activationToken = token;
    // The bar has its answer before the application acts on the call.
    QMetaObject::invokeMethod(
        this, [this, anchor] { Q_EMIT activated(anchor); }, Qt::QueuedConnection);
}

} // namespace quillmount
