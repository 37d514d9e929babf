// SPDX-License-Identifier: LicenseRef-Quillmount
#include "Platform/Linux/LinuxAlerts.h"

#include <QApplication>
#include <QDBusConnection>
#include <QDBusContext>
#include <QDBusMessage>
#include <QMessageBox>
#include <QProcess>
#include <QPushButton>
#include <QTemporaryDir>
#include <QTest>
#include <QTimer>

using namespace quillmount;
using namespace Qt::StringLiterals;

// A notification server that remembers what it is asked to show.
class NotificationServer : public QObject {
    Q_OBJECT
    Q_CLASSINFO("D-Bus Interface", "org.freedesktop.Notifications")

public:
    QStringList capabilities;
    QStringList shown;

public Q_SLOTS:
    QStringList GetCapabilities() { return capabilities; }
    uint Notify(const QString &, uint, const QString &, const QString &summary, const QString &body,
                const QStringList &, const QVariantMap &, int) {
        shown.append(summary + u'|' + body);
        return uint(shown.size());
    }
};

class LinuxAlertsTest : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void asks_data();
    void asks();
    void notifies();
};

void LinuxAlertsTest::asks_data() {
    QTest::addColumn<QString>("click");
    QTest::addColumn<int>("answer");
    QTest::newRow("default key") << u"<Return>"_s << 0;
    QTest::newRow("third") << u"Wait"_s << 2;
    QTest::newRow("escape") << u"<Escape>"_s << 0;
    QTest::newRow("closed") << u"<close>"_s << 0;
}

void LinuxAlertsTest::asks() {
    QFETCH(QString, click);
    QFETCH(int, answer);
    QStringList seen;
    QTimer poll;
    connect(&poll, &QTimer::timeout, this, [&] {
        auto *box = qobject_cast<QMessageBox *>(QApplication::activeModalWidget());
        if (!box || !box->isVisible())
            return;
        poll.stop();
        seen << box->text() << box->informativeText();
        if (click == u"<close>"_s)
            box->close();
        else if (click.startsWith(u'<'))
            QTest::keyClick(box, click == u"<Return>"_s ? Qt::Key_Return : Qt::Key_Escape);
        for (QAbstractButton *button : box->buttons())
            if (button->text() == click)
                button->click();
    });
    poll.start(1);
    QCOMPARE(LinuxAlerts().ask(u"<b>Stop?</b>"_s, u"2 uploads"_s, {u"Keep"_s, u"Stop"_s, u"Wait"_s}), answer);
    QCOMPARE(seen, QStringList({u"<b>Stop?</b>"_s, u"2 uploads"_s}));
}

void LinuxAlertsTest::notifies() {
    QProcess bus;
    bus.start(u"dbus-daemon"_s, {u"--session"_s, u"--nofork"_s, u"--print-address"_s});
    QVERIFY(bus.waitForReadyRead());
    qputenv("DBUS_SESSION_BUS_ADDRESS", bus.readLine().trimmed());

    // Nobody shows notifications: the text is not lost.
    static QStringList logged;
    const QtMessageHandler former = qInstallMessageHandler(
        [](QtMsgType, const QMessageLogContext &, const QString &message) { logged.append(message); });
    LinuxAlerts().notify(u"Title"_s, u"early"_s);
    QTRY_COMPARE(logged, QStringList(u"Title: early"_s));
    qInstallMessageHandler(former);

    NotificationServer server;
    auto connection = QDBusConnection::connectToBus(QString::fromLocal8Bit(qgetenv("DBUS_SESSION_BUS_ADDRESS")),
                                                    u"notification server"_s);
    QVERIFY(connection.registerObject(u"/org/freedesktop/Notifications"_s, &server, QDBusConnection::ExportAllSlots));
    QVERIFY(connection.registerService(u"org.freedesktop.Notifications"_s));

    LinuxAlerts().notify(u"A & B"_s, u"<b>1</b> & 2"_s);
    QTRY_COMPARE(server.shown, QStringList(u"A & B|<b>1</b> & 2"_s));
    server.capabilities = QStringList{u"body"_s, u"body-markup"_s};
    LinuxAlerts().notify(u"A & B"_s, u"<b>1</b> & 2"_s);
    QTRY_COMPARE(server.shown.size(), 2);
    QCOMPARE(server.shown.last(), u"A & B|&lt;b&gt;1&lt;/b&gt; &amp; 2"_s);

    QDBusConnection::disconnectFromBus(u"notification server"_s);
    bus.kill();
    QVERIFY(bus.waitForFinished());
}

QTEST_MAIN(LinuxAlertsTest)
#include "LinuxAlertsTest.moc"
