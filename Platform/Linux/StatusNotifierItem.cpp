// SPDX-License-Identifier: LicenseRef-Quillmount
#include "Platform/Linux/StatusNotifierItem.h"

#include <QDBusArgument>
#include <QDBusMetaType>
#include <QtEndian>

#include <utility>

namespace quillmount {

using namespace Qt::StringLiterals;

namespace {

NotifierPixmap pixmapOf(const QImage &image) {
    const QImage argb = image.convertToFormat(QImage::Format_ARGB32);
    NotifierPixmap pixmap{argb.width(), argb.height(), QByteArray(argb.sizeInBytes(), '\0')};
    qToBigEndian<quint32>(argb.constBits(), argb.sizeInBytes() / qsizetype(sizeof(quint32)), pixmap.pixels.data());
    return pixmap;
}

} // namespace

StatusNotifierItem::StatusNotifierItem(const QString &menuPath, QObject *parent)
    : QObject(parent)
    , m_menuPath(menuPath) {
    qDBusRegisterMetaType<NotifierPixmap>();
    qDBusRegisterMetaType<QList<NotifierPixmap>>();
    qDBusRegisterMetaType<NotifierToolTip>();
}

void StatusNotifierItem::setImage(const QList<QImage> &sizes) {
    if (m_image == sizes)
        return;
    m_image = sizes;
    Q_EMIT NewIcon();
}

void StatusNotifierItem::setToolTip(const QString &title, const QString &text) {
    if (m_title == title && m_text == text)
        return;
    const bool isNamedAnew = std::exchange(m_title, title) != title;
    m_text = text;
    if (isNamedAnew)
        Q_EMIT NewTitle();
    Q_EMIT NewToolTip();
}

QString StatusNotifierItem::category() const {
    return u"ApplicationStatus"_s;
}

QString StatusNotifierItem::id() const {
    return u"com.orvane.quillmount"_s;
}

QString StatusNotifierItem::status() const {
    return u"Active"_s;
}

QList<NotifierPixmap> StatusNotifierItem::iconPixmap() const {
    QList<NotifierPixmap> pixmaps;
    for (const QImage &image : m_image)
        pixmaps.append(pixmapOf(image));
    return pixmaps;
}

NotifierToolTip StatusNotifierItem::toolTip() const {
    return {m_title, m_text.toHtmlEscaped()};
}

void StatusNotifierItem::Activate(int x, int y) {
    Q_EMIT activated(x, y, std::exchange(m_token, {}));
}

void StatusNotifierItem::SecondaryActivate(int, int) {
    Q_EMIT secondaryActivated();
}

void StatusNotifierItem::ContextMenu(int x, int y) {
    Activate(x, y);
}

void StatusNotifierItem::Scroll(int, const QString &) {}

void StatusNotifierItem::ProvideXdgActivationToken(const QString &token) {
    m_token = token.toUtf8();
}

QDBusArgument &operator<<(QDBusArgument &argument, const NotifierPixmap &pixmap) {
    argument.beginStructure();
    argument << pixmap.width << pixmap.height << pixmap.pixels;
    argument.endStructure();
    return argument;
}

const QDBusArgument &operator>>(const QDBusArgument &argument, NotifierPixmap &pixmap) {
    argument.beginStructure();
    argument >> pixmap.width >> pixmap.height >> pixmap.pixels;
    argument.endStructure();
    return argument;
}

// A tooltip may have an icon, by its name or as pixmaps.
QDBusArgument &operator<<(QDBusArgument &argument, const NotifierToolTip &toolTip) {
    argument.beginStructure();
    argument << QString() << QList<NotifierPixmap>() << toolTip.title << toolTip.text;
    argument.endStructure();
    return argument;
}

const QDBusArgument &operator>>(const QDBusArgument &argument, NotifierToolTip &toolTip) {
    QString iconName;
    QList<NotifierPixmap> icon;
    argument.beginStructure();
    argument >> iconName >> icon >> toolTip.title >> toolTip.text;
    argument.endStructure();
    return argument;
}

} // namespace quillmount
