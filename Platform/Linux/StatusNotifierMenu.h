// SPDX-License-Identifier: LicenseRef-Quillmount
#pragma once

#include "Platform/MenuBarExtra.h"

#include <QDBusContext>
#include <QDBusVariant>
#include <QHash>
#include <QList>
#include <QObject>
#include <QStringList>
#include <QVariantMap>

class QDBusArgument;

namespace quillmount {

// An item of a menu as the bus carries it. Number 0 is the menu itself, whose children are the items.
struct NotifierMenuItem {
    int number = 0;
    QVariantMap properties;
};

struct NotifierMenuLayout {
    NotifierMenuItem item;
    QList<QDBusVariant> children; // each of them a layout
};

struct NotifierMenuEvent {
    int number = 0;
    QString kind;
    QDBusVariant data;
    uint time = 0;
};

// Names of properties that an item no longer has.
struct NotifierMenuRemoval {
    int number = 0;
    QStringList names;
};

// The menu of a menu-bar item: the interface com.canonical.dbusmenu. To be exported with its scriptable members. An
// item keeps its number for as long as its id is used, so that a click in a menu which is being replaced hits what the
// user saw.
class StatusNotifierMenu : public QObject, protected QDBusContext {
    Q_OBJECT
    Q_CLASSINFO("D-Bus Interface", "com.canonical.dbusmenu")
    Q_PROPERTY(uint Version READ version SCRIPTABLE true)
    Q_PROPERTY(QString TextDirection READ textDirection SCRIPTABLE true)
    Q_PROPERTY(QString Status READ status SCRIPTABLE true)
    Q_PROPERTY(QStringList IconThemePath READ iconThemePath SCRIPTABLE true)

public:
    explicit StatusNotifierMenu(QObject *parent = nullptr);

    void setItems(const QList<MenuBarExtra::MenuItem> &items);

    [[nodiscard]] uint version() const { return 3; }
    [[nodiscard]] QString textDirection() const;
    [[nodiscard]] QString status() const;
    [[nodiscard]] QStringList iconThemePath() const { return {}; }

public Q_SLOTS:
    // Of an unknown parent an error of the bus.
    Q_SCRIPTABLE uint GetLayout(int parent, int depth, const QStringList &names,
                                quillmount::NotifierMenuLayout &layout) const;
    Q_SCRIPTABLE QList<quillmount::NotifierMenuItem> GetGroupProperties(const QList<int> &numbers,
                                                                        const QStringList &names) const;
    Q_SCRIPTABLE QDBusVariant GetProperty(int number, const QString &name) const;
    Q_SCRIPTABLE void Event(int number, const QString &kind, const QDBusVariant &data, uint time);
    Q_SCRIPTABLE QList<int> EventGroup(const QList<quillmount::NotifierMenuEvent> &events);
    Q_SCRIPTABLE bool AboutToShow(int number) const;
    Q_SCRIPTABLE QList<int> AboutToShowGroup(const QList<int> &numbers, QList<int> &unknown) const;

Q_SIGNALS:
    Q_SCRIPTABLE void ItemsPropertiesUpdated(const QList<quillmount::NotifierMenuItem> &changed,
                                             const QList<quillmount::NotifierMenuRemoval> &removed);
    Q_SCRIPTABLE void LayoutUpdated(uint revision, int parent);

    // An enabled item was chosen.
    void chosen(const QString &id);

private:
    // Every property of every item: those that are as usual are left out in no answer, so that none is ever removed.
    [[nodiscard]] QList<NotifierMenuItem> describe(const QList<MenuBarExtra::MenuItem> &items);
    [[nodiscard]] int numberOf(const QString &key);

    QList<MenuBarExtra::MenuItem> m_items;
    QList<NotifierMenuItem> m_described; // the same items in the same order
    QHash<QString, int> m_numbers;
    uint m_revision = 1;
};

QDBusArgument &operator<<(QDBusArgument &argument, const NotifierMenuItem &item);
const QDBusArgument &operator>>(const QDBusArgument &argument, NotifierMenuItem &item);
QDBusArgument &operator<<(QDBusArgument &argument, const NotifierMenuLayout &layout);
const QDBusArgument &operator>>(const QDBusArgument &argument, NotifierMenuLayout &layout);
QDBusArgument &operator<<(QDBusArgument &argument, const NotifierMenuEvent &event);
const QDBusArgument &operator>>(const QDBusArgument &argument, NotifierMenuEvent &event);
QDBusArgument &operator<<(QDBusArgument &argument, const NotifierMenuRemoval &removal);
const QDBusArgument &operator>>(const QDBusArgument &argument, NotifierMenuRemoval &removal);

} // namespace quillmount

Q_DECLARE_METATYPE(quillmount::NotifierMenuItem)
Q_DECLARE_METATYPE(quillmount::NotifierMenuLayout)
Q_DECLARE_METATYPE(quillmount::NotifierMenuEvent)
Q_DECLARE_METATYPE(quillmount::NotifierMenuRemoval)
