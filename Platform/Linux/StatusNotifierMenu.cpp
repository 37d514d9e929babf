// SPDX-License-Identifier: LicenseRef-Quillmount
#include "Platform/Linux/StatusNotifierMenu.h"

#include <QDBusArgument>
#include <QDBusMetaType>
#include <QGuiApplication>

#include <algorithm>

namespace quillmount {

using namespace Qt::StringLiterals;

namespace {

QVariantMap propertiesOf(const MenuBarExtra::MenuItem &item) {
    if (item.isSeparator)
        return {{u"type"_s, u"separator"_s}};
    QString label = item.text;
    // One alone would mark the key of the item.
    label.replace(u'_', "__"_L1);
    return {{u"label"_s, label}, {u"enabled"_s, item.isEnabled}};
}

// The properties that were asked for; all when none is named.
QVariantMap pick(const QVariantMap &properties, const QStringList &names) {
    if (names.isEmpty())
        return properties;
    QVariantMap picked;
    for (const QString &name : names)
        if (properties.contains(name))
            picked.insert(name, properties.value(name));
    return picked;
}

} // namespace

StatusNotifierMenu::StatusNotifierMenu(QObject *parent)
    : QObject(parent) {
    qDBusRegisterMetaType<NotifierMenuItem>();
    qDBusRegisterMetaType<QList<NotifierMenuItem>>();
    qDBusRegisterMetaType<NotifierMenuLayout>();
    qDBusRegisterMetaType<NotifierMenuEvent>();
    qDBusRegisterMetaType<QList<NotifierMenuEvent>>();
    qDBusRegisterMetaType<NotifierMenuRemoval>();
    qDBusRegisterMetaType<QList<NotifierMenuRemoval>>();
}

void StatusNotifierMenu::setItems(const QList<MenuBarExtra::MenuItem> &items) {
    if (m_items == items)
        return;
    const QList<NotifierMenuItem> former = m_described;
    m_items = items;
    m_described = describe(items);
    const bool sameLayout =
        std::ranges::equal(former, m_described, {}, &NotifierMenuItem::number, &NotifierMenuItem::number);
    if (!sameLayout) {
        Q_EMIT LayoutUpdated(++m_revision, 0);
        return;
    }
    QList<NotifierMenuItem> changed;
    for (qsizetype i = 0; i < former.size(); ++i)
        if (former[i].properties != m_described[i].properties)
            changed.append(m_described[i]);
    Q_EMIT ItemsPropertiesUpdated(changed, {});
}

QList<NotifierMenuItem> StatusNotifierMenu::describe(const QList<MenuBarExtra::MenuItem> &items) {
    QList<NotifierMenuItem> described;
    int separators = 0;
    for (const MenuBarExtra::MenuItem &item : items) {
        const QString key = item.isSeparator ? u"separator %1"_s.arg(++separators) : u"item "_s + item.id;
        described.append({numberOf(key), propertiesOf(item)});
    }
    return described;
}

int StatusNotifierMenu::numberOf(const QString &key) {
    const auto known = m_numbers.constFind(key);
    return known != m_numbers.constEnd() ? *known : *m_numbers.insert(key, int(m_numbers.size()) + 1);
}

QString StatusNotifierMenu::textDirection() const {
    return QGuiApplication::layoutDirection() == Qt::RightToLeft ? u"rtl"_s : u"ltr"_s;
}

QString StatusNotifierMenu::status() const {
    return u"normal"_s;
}

uint StatusNotifierMenu::GetLayout(int parent, int depth, const QStringList &names, NotifierMenuLayout &layout) const {
    if (parent == 0) {
        layout.item.properties = pick({{u"children-display"_s, u"submenu"_s}}, names);
        if (depth == 0)
            return m_revision;
        for (const NotifierMenuItem &item : m_described) {
            const NotifierMenuLayout child = {{item.number, pick(item.properties, names)}, {}};
            layout.children.append(QDBusVariant(QVariant::fromValue(child)));
        }
        return m_revision;
    }
    const QList<NotifierMenuItem> found = GetGroupProperties({parent}, names);
    if (!found.isEmpty())
        layout.item = found.first();
    else if (calledFromDBus())
        sendErrorReply(QDBusError::InvalidArgs, u"there is no menu item %1"_s.arg(parent));
    return m_revision;
}

QList<NotifierMenuItem> StatusNotifierMenu::GetGroupProperties(const QList<int> &numbers,
                                                               const QStringList &names) const {
    QList<NotifierMenuItem> found;
    for (const NotifierMenuItem &item : m_described)
        if (numbers.isEmpty() || numbers.contains(item.number))
            found.append({item.number, pick(item.properties, names)});
    return found;
}

QDBusVariant StatusNotifierMenu::GetProperty(int number, const QString &name) const {
    const auto item = std::ranges::find(m_described, number, &NotifierMenuItem::number);
    const QVariant value = item != m_described.end() ? item->properties.value(name) : QVariant();
    // There is no variant without a value on the bus.
    return QDBusVariant(value.isValid() ? value : QVariant(QString()));
}

void StatusNotifierMenu::Event(int number, const QString &kind, const QDBusVariant &, uint) {
    if (kind != "clicked"_L1)
        return;
    const auto described = std::ranges::find(m_described, number, &NotifierMenuItem::number);
    if (described == m_described.end())
        return;
    const MenuBarExtra::MenuItem item = m_items[described - m_described.begin()];
    if (item.isEnabled && !item.isSeparator)
        Q_EMIT chosen(item.id);
}

QList<int> StatusNotifierMenu::EventGroup(const QList<NotifierMenuEvent> &events) {
    QList<int> unknown;
    for (const NotifierMenuEvent &event : events) {
        if (event.number != 0 && !std::ranges::any_of(m_described, [&event](const NotifierMenuItem &item) {
                return item.number == event.number;
            }))
            unknown.append(event.number);
        Event(event.number, event.kind, event.data, event.time);
    }
    return unknown;
}

bool StatusNotifierMenu::AboutToShow(int) const {
    return false; // what the bar knows is up to date
}

QList<int> StatusNotifierMenu::AboutToShowGroup(const QList<int> &, QList<int> &) const {
    return {};
}

QDBusArgument &operator<<(QDBusArgument &argument, const NotifierMenuItem &item) {
    argument.beginStructure();
    argument << item.number << item.properties;
    argument.endStructure();
    return argument;
}

const QDBusArgument &operator>>(const QDBusArgument &argument, NotifierMenuItem &item) {
    argument.beginStructure();
    argument >> item.number >> item.properties;
    argument.endStructure();
    return argument;
}

QDBusArgument &operator<<(QDBusArgument &argument, const NotifierMenuLayout &layout) {
    argument.beginStructure();
    argument << layout.item.number << layout.item.properties << layout.children;
    argument.endStructure();
    return argument;
}

const QDBusArgument &operator>>(const QDBusArgument &argument, NotifierMenuLayout &layout) {
    argument.beginStructure();
    argument >> layout.item.number >> layout.item.properties >> layout.children;
    argument.endStructure();
    return argument;
}

QDBusArgument &operator<<(QDBusArgument &argument, const NotifierMenuEvent &event) {
    argument.beginStructure();
    argument << event.number << event.kind << event.data << event.time;
    argument.endStructure();
    return argument;
}

const QDBusArgument &operator>>(const QDBusArgument &argument, NotifierMenuEvent &event) {
    argument.beginStructure();
    argument >> event.number >> event.kind >> event.data >> event.time;
    argument.endStructure();
    return argument;
}

QDBusArgument &operator<<(QDBusArgument &argument, const NotifierMenuRemoval &removal) {
    argument.beginStructure();
    argument << removal.number << removal.names;
    argument.endStructure();
    return argument;
}

const QDBusArgument &operator>>(const QDBusArgument &argument, NotifierMenuRemoval &removal) {
    argument.beginStructure();
    argument >> removal.number >> removal.names;
    argument.endStructure();
    return argument;
}

} // namespace quillmount
