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

// `shown`: called with the desktop's number of the notice. `replaces`: that of another one, or 0.
void send(const QString &title, const QString &text, bool bodyIsMarkup, uint replaces,
          const std::function<void(uint)> &shown) {
    QDBusMessage message = notificationsCall(u"Notify"_s);
    message << u"Quillmount"_s << replaces << u"com.orvane.quillmount"_s << title
            << (bodyIsMarkup ? text.toHtmlEscaped() : text) << QStringList()
            << QVariantMap{{u"desktop-entry"_s, u"com.orvane.quillmount"_s}} << -1;
    whenFinished(QDBusConnection::sessionBus().asyncCall(message), [title, text, shown](const QDBusPendingCall &call) {
        const QDBusPendingReply<uint> number = call;
        if (number.isError())
            logNotice(title, text);
        else
            shown(number.value());
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
    m_question = &box;
    box.show();
    raise();
    box.exec();
    return int(std::max(added.indexOf(box.clickedButton()), qsizetype(0)));
}

void LinuxAlerts::raise() {
    if (!m_question)
        return;
    m_question->raise();
    m_question->activateWindow();
}

void LinuxAlerts::dismiss() {
    if (m_question)
        m_question->done(QDialog::Rejected);
}

void LinuxAlerts::notify(const QString &title, const QString &text, const QString &kind) {
    if (!SessionBus::isThere()) {
        logNotice(title, text);
        return;
    }
    const auto call = QDBusConnection::sessionBus().asyncCall(notificationsCall(u"GetCapabilities"_s));
    whenFinished(call, [title, text, kind, numbers = m_shown](const QDBusPendingCall &finished) {
        const QDBusPendingReply<QStringList> capabilities = finished;
        const bool bodyIsMarkup = !capabilities.isError() && capabilities.value().contains("body-markup"_L1);
        send(title, text, bodyIsMarkup, numbers->value(kind), [kind, numbers](uint number) {
            if (!kind.isEmpty())
                numbers->insert(kind, number);
        });
    });
}

} // namespace quillmount
