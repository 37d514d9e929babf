// SPDX-License-Identifier: LicenseRef-Quillmount
#pragma once

#include <QDBusObjectPath>
#include <QImage>
#include <QList>
#include <QObject>
#include <QString>

class QDBusArgument;

namespace quillmount {

// A picture as the bus carries it: 32 bits a pixel, ARGB, the highest byte first.
struct NotifierPixmap {
    int width = 0;
    int height = 0;
    QByteArray pixels;
};

struct NotifierToolTip {
    QString title;
    QString text; // markup
};

// What a bar reads of an item and calls on it: the interface org.kde.StatusNotifierItem. To be exported with its
// scriptable members. What is set again unchanged is not sent.
class StatusNotifierItem : public QObject {
    Q_OBJECT
    Q_CLASSINFO("D-Bus Interface", "org.kde.StatusNotifierItem")
    Q_PROPERTY(QString Category READ category SCRIPTABLE true)
    Q_PROPERTY(QString Id READ id SCRIPTABLE true)
    Q_PROPERTY(QString Title READ title SCRIPTABLE true)
    Q_PROPERTY(QString Status READ status SCRIPTABLE true)
    Q_PROPERTY(int WindowId READ windowId SCRIPTABLE true)
    Q_PROPERTY(QString IconName READ iconName SCRIPTABLE true)
    Q_PROPERTY(QList<quillmount::NotifierPixmap> IconPixmap READ iconPixmap SCRIPTABLE true)
    Q_PROPERTY(QString IconAccessibleDesc READ title SCRIPTABLE true)
    Q_PROPERTY(quillmount::NotifierToolTip ToolTip READ toolTip SCRIPTABLE true)
    Q_PROPERTY(bool ItemIsMenu READ itemIsMenu SCRIPTABLE true)
    Q_PROPERTY(QDBusObjectPath Menu READ menu SCRIPTABLE true)

public:
    explicit StatusNotifierItem(const QString &menuPath, QObject *parent = nullptr);

    void setImage(const QList<QImage> &sizes);
    // Plain text; the title is also the item's name.
    void setToolTip(const QString &title, const QString &text);

    [[nodiscard]] QString category() const;
    [[nodiscard]] QString id() const;
    [[nodiscard]] QString title() const { return m_title; }
    [[nodiscard]] QString status() const;
    [[nodiscard]] int windowId() const { return 0; }
    [[nodiscard]] QString iconName() const { return {}; }
    [[nodiscard]] QList<NotifierPixmap> iconPixmap() const;
    [[nodiscard]] NotifierToolTip toolTip() const;
    [[nodiscard]] bool itemIsMenu() const { return false; }
    [[nodiscard]] QDBusObjectPath menu() const { return QDBusObjectPath(m_menuPath); }

public Q_SLOTS:
    Q_SCRIPTABLE void Activate(int x, int y);
    Q_SCRIPTABLE void SecondaryActivate(int x, int y);
    // Bars that show no menu of their own accord call it; the window is better than nothing.
    Q_SCRIPTABLE void ContextMenu(int x, int y);
    Q_SCRIPTABLE void Scroll(int delta, const QString &orientation);
    Q_SCRIPTABLE void ProvideXdgActivationToken(const QString &token);

Q_SIGNALS:
    Q_SCRIPTABLE void NewIcon();
    Q_SCRIPTABLE void NewTitle();
    Q_SCRIPTABLE void NewToolTip();

    // `x`, `y`: what the bar says about the place, in pixels of the screen; `token`: empty when it gave none.
    void activated(int x, int y, const QByteArray &token);
    void secondaryActivated();

private:
    QString m_menuPath;
    QList<QImage> m_image;
    QString m_title;
    QString m_text;
    QByteArray m_token; // for the activation that follows it
};

QDBusArgument &operator<<(QDBusArgument &argument, const NotifierPixmap &pixmap);
const QDBusArgument &operator>>(const QDBusArgument &argument, NotifierPixmap &pixmap);
QDBusArgument &operator<<(QDBusArgument &argument, const NotifierToolTip &toolTip);
const QDBusArgument &operator>>(const QDBusArgument &argument, NotifierToolTip &toolTip);

} // namespace quillmount

Q_DECLARE_METATYPE(quillmount::NotifierPixmap)
Q_DECLARE_METATYPE(quillmount::NotifierToolTip)
