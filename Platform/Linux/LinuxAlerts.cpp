// SPDX-License-Identifier: LicenseRef-Quillmount
#include "Platform/Linux/LinuxAlerts.h"

#include "Platform/Linux/PlatformLog.h"
#include "Platform/Linux/SessionBus.h"

#include <QApplication>
#include <QDBusConnection>
#include <QDBusMessage>
#include <QDBusPendingCallWatcher>
#include <QDBusPendingReply>
#include <QMessageBox>
#include <QPushButton>

namespace quillmount {

using namespace Qt::StringLiterals;

namespace {

QDBusMessage notificationsCall(const QString &method) {
    const QString service = u"org.freedesktop.Notifications"_s;
    return QDBusMessage::createMethodCall(service, u"/org/freedesktop/Notifications"_s, service, method);
}

void logNotice(const QString &title, const QString &text) {
    qCWarning(platformLog).noquote().nospace() << title << ": " << text;
}

// Calls `then` with the finished call.
template <typename Then>
void whenFinished(const QDBusPendingCall &call, Then then) {
    auto *watcher = new QDBusPendingCallWatcher(call);
    QObject::connect(watcher, &QDBusPendingCallWatcher::finished, watcher, [then, watcher] {
        watcher->deleteLater();
        then(*watcher);
    });
}

void send(const QString &title, const QString &text, bool bodyIsMarkup) {
    QDBusMessage message = notificationsCall(u"Notify"_s);
    message << u"Quillmount"_s << uint(0) << u"com.orvane.quillmount"_s << title
            << (bodyIsMarkup ? text.toHtmlEscaped() : text) << QStringList()
            << QVariantMap{{u"desktop-entry"_s, u"com.orvane.quillmount"_s}} << -1;
    whenFinished(QDBusConnection::sessionBus().asyncCall(message), [title, text](const QDBusPendingCall &call) {
        if (call.isError())
            logNotice(title, text);
    });
}

} // namespace

int LinuxAlerts::ask(const QString &message, const QString &informative, const QStringList &buttons) {
    if (!qobject_cast<QApplication *>(QCoreApplication::instance())) {
        logNotice(message, informative);
        return 0;
    }
    QMessageBox box;
    box.setTextFormat(Qt::PlainText);
    box.setIcon(QMessageBox::Warning);
    box.setText(message);
    box.setInformativeText(informative);
    box.setWindowFlag(Qt::WindowStaysOnTopHint);
    QList<QAbstractButton *> added;
    for (const QString &text : buttons) {
        // All of one role, because the roles would decide the order.
        QPushButton *button = box.addButton(text, QMessageBox::ActionRole);
        if (added.isEmpty()) {
            box.setDefaultButton(button);
            box.setEscapeButton(button);
        }
        added.append(button);
    }
    box.show();
    box.raise();
    box.activateWindow();
    box.exec();
    return int(std::max(added.indexOf(box.clickedButton()), qsizetype(0)));
}

void LinuxAlerts::notify(const QString &title, const QString &text) {
    if (!SessionBus::isThere()) {
        logNotice(title, text);
        return;
    }
    const auto call = QDBusConnection::sessionBus().asyncCall(notificationsCall(u"GetCapabilities"_s));
    whenFinished(call, [title, text](const QDBusPendingCall &finished) {
        const QDBusPendingReply<QStringList> capabilities = finished;
        send(title, text, !capabilities.isError() && capabilities.value().contains("body-markup"_L1));
    });
}

} // namespace quillmount
