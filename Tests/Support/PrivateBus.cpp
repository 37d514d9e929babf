// SPDX-License-Identifier: LicenseRef-Quillmount
#include "Tests/Support/PrivateBus.h"

namespace quillmount {

using namespace Qt::StringLiterals;

PrivateBus::PrivateBus() {
    m_daemon.start(u"dbus-daemon"_s, {u"--session"_s, u"--nofork"_s, u"--nopidfile"_s, u"--print-address"_s});
    if (!m_daemon.waitForReadyRead())
        qFatal("dbus-daemon does not start");
    const QByteArray address = m_daemon.readLine().trimmed();
    qputenv("DBUS_SESSION_BUS_ADDRESS", address);
    qputenv("DBUS_SYSTEM_BUS_ADDRESS", address);
}

PrivateBus::~PrivateBus() {
    for (const QString &name : std::as_const(m_names))
        QDBusConnection::disconnectFromBus(name);
    m_daemon.kill();
    m_daemon.waitForFinished();
}

QDBusConnection PrivateBus::join(const QString &name) {
    m_names.append(name);
    return QDBusConnection::connectToBus(QString::fromLocal8Bit(qgetenv("DBUS_SESSION_BUS_ADDRESS")), name);
}

void PrivateBus::leave(const QString &name) {
    m_names.removeAll(name);
    QDBusConnection::disconnectFromBus(name);
}

} // namespace quillmount
