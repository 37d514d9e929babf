// SPDX-License-Identifier: LicenseRef-Quillmount
#include "Platform/Linux/LinuxSessionInhibitor.h"
#include "Tests/Support/PrivateBus.h"

#include <QDBusObjectPath>
#include <QTest>

using namespace quillmount;
using namespace Qt::StringLiterals;

// A session manager of one kind or the other, which tells what it was asked.
class SessionManager : public QObject {
    Q_OBJECT
    Q_CLASSINFO("D-Bus Interface", "org.gnome.SessionManager")

public:
    QStringList asked;

public Q_SLOTS:
    uint Inhibit(const QString &, uint, const QString &reason, uint what) {
        asked.append(u"%1 %2"_s.arg(what).arg(reason));
        return ++m_cookie;
    }
    void Uninhibit(uint cookie) { asked.append(u"end %1"_s.arg(cookie)); }

private:
    uint m_cookie = 0;
};

class InhibitPortal : public QObject {
    Q_OBJECT
    Q_CLASSINFO("D-Bus Interface", "org.freedesktop.portal.Inhibit")

public:
    QStringList asked;

public Q_SLOTS:
    QDBusObjectPath Inhibit(const QString &, uint what, const QVariantMap &options) {
        asked.append(u"%1 %2"_s.arg(what).arg(options.value(u"reason"_s).toString()));
        return QDBusObjectPath(u"/request"_s);
    }
};

class PortalRequest : public QObject {
    Q_OBJECT
    Q_CLASSINFO("D-Bus Interface", "org.freedesktop.portal.Request")

public:
    int closed = 0;

public Q_SLOTS:
    void Close() { ++closed; }
};

class LinuxSessionInhibitorTest : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void asksTheSessionManager();
    void asksThePortal();

private:
    PrivateBus m_bus;
};

void LinuxSessionInhibitorTest::asksTheSessionManager() {
    SessionManager manager;
    auto connection = m_bus.join(u"manager"_s);
    connection.registerObject(u"/org/gnome/SessionManager"_s, &manager, QDBusConnection::ExportAllSlots);
    connection.registerService(u"org.gnome.SessionManager"_s);
    LinuxSessionInhibitor inhibitor;
    inhibitor.hold(u"1 file"_s);
    QTRY_COMPARE(manager.asked, QStringList(u"1 1 file"_s));
    inhibitor.hold(u"1 file"_s);
    inhibitor.release();
    inhibitor.release();
    // Given up before there is an answer.
    inhibitor.hold(u"2 files"_s);
    inhibitor.release();
    QTRY_COMPARE(manager.asked.size(), 4);
    // The first answer may be on its way when the second question is asked.
    QStringList rest = manager.asked.mid(1);
    rest.sort();
    QCOMPARE(rest, QStringList({u"1 2 files"_s, u"end 1"_s, u"end 2"_s}));
    m_bus.leave(u"manager"_s);
}

void LinuxSessionInhibitorTest::asksThePortal() {
    InhibitPortal portal;
    PortalRequest request;
    auto connection = m_bus.join(u"portal"_s);
    connection.registerObject(u"/org/freedesktop/portal/desktop"_s, &portal, QDBusConnection::ExportAllSlots);
    connection.registerObject(u"/request"_s, &request, QDBusConnection::ExportAllSlots);
    connection.registerService(u"org.freedesktop.portal.Desktop"_s);
    LinuxSessionInhibitor inhibitor;
    inhibitor.hold(u"1 file"_s);
    QTRY_COMPARE(portal.asked, QStringList(u"1 1 file"_s));
    inhibitor.release();
    QTRY_COMPARE(request.closed, 1);
}

QTEST_GUILESS_MAIN(LinuxSessionInhibitorTest)
#include "LinuxSessionInhibitorTest.moc"
