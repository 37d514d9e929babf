// SPDX-License-Identifier: LicenseRef-Quillmount
#include "Platform/Linux/LinuxSessionInhibitor.h"

#include "Platform/Linux/PlatformLog.h"
#include "Platform/Linux/SessionBus.h"

#include <QDBusConnection>
#include <QDBusObjectPath>
#include <QDBusPendingCallWatcher>

#include <utility>

namespace quillmount {

using namespace Qt::StringLiterals;

namespace {

constexpr uint logOut = 1; // both number it so

QDBusMessage sessionManagerCall(const QString &method) {
    const QString service = u"org.gnome.SessionManager"_s;
    QDBusMessage call = QDBusMessage::createMethodCall(service, u"/org/gnome/SessionManager"_s, service, method);
    call.setAutoStartService(false);
    return call;
}

QDBusMessage sessionManagerQuestion(const QString &reason) {
    QDBusMessage question = sessionManagerCall(u"Inhibit"_s);
    question << u"com.orvane.quillmount"_s << uint(0) << reason << logOut;
    return question;
}

QDBusMessage portalQuestion(const QString &reason) {
    QDBusMessage question =
        QDBusMessage::createMethodCall(u"org.freedesktop.portal.Desktop"_s, u"/org/freedesktop/portal/desktop"_s,
                                       u"org.freedesktop.portal.Inhibit"_s, u"Inhibit"_s);
    question << QString() << logOut << QVariantMap{{u"reason"_s, reason}};
    return question;
}

// What ends that which the answer grants: the session manager grants a number, the portal an object.
QDBusMessage undoOf(const QDBusMessage &answer) {
    const QVariant granted = answer.arguments().value(0);
    if (granted.metaType() == QMetaType::fromType<QDBusObjectPath>()) {
        const QString path = granted.value<QDBusObjectPath>().path();
        return QDBusMessage::createMethodCall(u"org.freedesktop.portal.Desktop"_s, path,
                                              u"org.freedesktop.portal.Request"_s, u"Close"_s);
    }
    QDBusMessage undo = sessionManagerCall(u"Uninhibit"_s);
    undo << granted.toUInt();
    return undo;
}

} // namespace

void LinuxSessionInhibitor::hold(const QString &reason) {
    if (m_reason == reason || !SessionBus::isThere())
        return;
    release();
    m_reason = reason;
    ask(sessionManagerQuestion(reason), [this, reason] {
        ask(portalQuestion(reason), [] { qCInfo(platformLog, "this desktop asks no application before a log-out"); });
    });
}

void LinuxSessionInhibitor::release() {
    m_reason.reset();
    ++m_round;
    if (const auto undo = std::exchange(m_undo, std::nullopt))
        QDBusConnection::sessionBus().send(*undo);
}

void LinuxSessionInhibitor::ask(const QDBusMessage &question, const std::function<void()> &otherwise) {
    auto *watcher = new QDBusPendingCallWatcher(QDBusConnection::sessionBus().asyncCall(question), &m_context);
    QObject::connect(watcher, &QDBusPendingCallWatcher::finished, &m_context,
                     [this, watcher, otherwise, round = m_round] {
                         watcher->deleteLater();
                         const bool isWanted = round == m_round;
                         if (!watcher->isError() && isWanted)
                             m_undo = undoOf(watcher->reply());
                         else if (!watcher->isError())
                             QDBusConnection::sessionBus().send(undoOf(watcher->reply()));
                         else if (isWanted)
                             otherwise();
                     });
}

} // namespace quillmount
