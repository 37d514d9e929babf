// SPDX-License-Identifier: LicenseRef-Quillmount
#include "Tests/EndToEnd/ScreenReader.h"

#include "Tests/Support/Desktop.h"

#include <QDBusArgument>
#include <QDBusConnectionInterface>
#include <QDBusMessage>
#include <QDBusReply>
#include <QDBusVariant>

namespace quillmount {

using namespace Qt::StringLiterals;

namespace {

const QString accessible = u"org.a11y.atspi.Accessible"_s;
const QString onTheBus = u"accessibility"_s;

// Numbers of the protocol.
constexpr uint pushButton = 43;
constexpr uint link = 88;
constexpr int focusedState = 12;
constexpr int showingState = 25;
constexpr uint onScreen = 0;

QDBusMessage call(const QDBusConnection &bus, const QString &service, const QString &path, const QString &interface,
                  const QString &method, const QVariantList &arguments = {}) {
    QDBusMessage message = QDBusMessage::createMethodCall(service, path, interface, method);
    message.setArguments(arguments);
    // What goes away while it is read answers with an error, which is read as nothing.
    return bus.call(message, QDBus::Block, 5000);
}

// An object of any program on the bus.
struct Reference {
    QString service;
    QDBusObjectPath path;
};

QList<Reference> childrenOf(const QDBusConnection &bus, const QString &service, const QDBusObjectPath &path) {
    const QVariant first = call(bus, service, path.path(), accessible, u"GetChildren"_s).arguments().value(0);
    QList<Reference> children;
    if (!first.canConvert<QDBusArgument>())
        return children;
    const auto list = first.value<QDBusArgument>();
    list.beginArray();
    while (!list.atEnd()) {
        Reference child;
        list.beginStructure();
        list >> child.service >> child.path;
        list.endStructure();
        children.append(child);
    }
    list.endArray();
    return children;
}

} // namespace

ScreenReader::ScreenReader(const Desktop &desktop)
    : m_bus(onTheBus) {
    const QString service = u"org.a11y.Bus"_s;
    const QString path = u"/org/a11y/bus"_s;
    const QDBusConnection session = desktop.bus();
    const QDBusReply<QString> address = call(session, service, path, service, u"GetAddress"_s);
    const QDBusMessage enabled = call(session, service, path, u"org.freedesktop.DBus.Properties"_s, u"Set"_s,
                                      {u"org.a11y.Status"_s, u"IsEnabled"_s, QVariant::fromValue(QDBusVariant(true))});
    if (!address.isValid() || enabled.type() == QDBusMessage::ErrorMessage)
        qFatal("no accessibility bus: %ls %ls", qUtf16Printable(address.error().message()),
               qUtf16Printable(enabled.errorMessage()));
    m_bus = QDBusConnection::connectToBus(address, onTheBus);
}

ScreenReader::~ScreenReader() {
    QDBusConnection::disconnectFromBus(onTheBus);
}

QList<ScreenReader::Item> ScreenReader::read(pid_t program) const {
    QList<Item> items;
    const auto programs =
        childrenOf(m_bus, u"org.a11y.atspi.Registry"_s, QDBusObjectPath(u"/org/a11y/atspi/accessible/root"_s));
    for (const Reference &root : programs) {
        if (m_bus.interface()->servicePid(root.service) != uint(program))
            continue;
        const auto windows = childrenOf(m_bus, root.service, root.path);
        for (const Reference &window : windows)
            read(window.service, window.path, true, items);
    }
    return items;
}

void ScreenReader::read(const QString &service, const QDBusObjectPath &path, bool isWindow, QList<Item> &items) const {
    const QDBusReply<QList<uint>> states = call(m_bus, service, path.path(), accessible, u"GetState"_s);
    const uint bits = states.value().value(0);
    if ((bits >> showingState & 1) == 0)
        return;
    const QDBusReply<QDBusVariant> name =
        call(m_bus, service, path.path(), u"org.freedesktop.DBus.Properties"_s, u"Get"_s, {accessible, u"Name"_s});
    const QDBusReply<uint> role = call(m_bus, service, path.path(), accessible, u"GetRole"_s);
    const QString text = name.value().variant().toString();
    if (isWindow || !text.isEmpty())
        items.append({service, path, text, role.value() == pushButton || role.value() == link,
                      (bits >> focusedState & 1) != 0, isWindow});
    const auto children = childrenOf(m_bus, service, path);
    for (const Reference &child : children)
        read(child.service, child.path, false, items);
}

bool ScreenReader::press(const Item &button) const {
    // A button's first action; the other one gives it the focus.
    constexpr int pressAction = 0;
    return QDBusReply<bool>(
        call(m_bus, button.service, button.path.path(), u"org.a11y.atspi.Action"_s, u"DoAction"_s, {pressAction}));
}

QRect ScreenReader::geometry(const Item &window) const {
    const QDBusReply<QRect> extents =
        call(m_bus, window.service, window.path.path(), u"org.a11y.atspi.Component"_s, u"GetExtents"_s, {onScreen});
    return extents.value();
}

} // namespace quillmount
