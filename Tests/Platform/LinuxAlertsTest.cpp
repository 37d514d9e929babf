// SPDX-License-Identifier: LicenseRef-Quillmount
#include "Platform/Linux/LinuxAlerts.h"
#include "Tests/Support/PrivateBus.h"

#include <QApplication>
#include <QDBusConnection>
#include <QDBusContext>
#include <QDBusMessage>
#include <QDBusPendingCall>
#include <QMessageBox>
#include <QPushButton>
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
    QList<uint> replaces;

public Q_SLOTS:
    QStringList GetCapabilities() { return capabilities; }
    uint Notify(const QString &, uint replaced, const QString &, const QString &summary, const QString &body,
                const QStringList &, const QVariantMap &, int) {
        shown.append(summary + u'|' + body);
        replaces.append(replaced);
        return replaced != 0 ? replaced : uint(shown.size());
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
    QTest::newRow("dismissed") << u"<dismiss>"_s << 0;
}

void LinuxAlertsTest::asks() {
    QFETCH(QString, click);
    QFETCH(int, answer);
    LinuxAlerts alerts;
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
        else if (click == u"<dismiss>"_s)
            alerts.dismiss();
        else if (click.startsWith(u'<'))
            QTest::keyClick(box, click == u"<Return>"_s ? Qt::Key_Return : Qt::Key_Escape);
        for (QAbstractButton *button : box->buttons())
            if (button->text() == click)
                button->click();
    });
    poll.start(1);
    QCOMPARE(alerts.ask(u"<b>Stop?</b>"_s, u"2 uploads"_s, {u"Keep"_s, u"Stop"_s, u"Wait"_s}), answer);
    QCOMPARE(seen, QStringList({u"<b>Stop?</b>"_s, u"2 uploads"_s}));
}

void LinuxAlertsTest::notifies() {
    PrivateBus bus;

    // Nobody shows notifications: the text is not lost.
    static QStringList logged;
    const QtMessageHandler former = qInstallMessageHandler(
        [](QtMsgType, const QMessageLogContext &, const QString &message) { logged.append(message); });
    LinuxAlerts().notify(u"Title"_s, u"early"_s);
    QTRY_COMPARE(logged, QStringList(u"Title: early"_s));
    qInstallMessageHandler(former);

    NotificationServer server;
    auto connection = bus.join(u"notification server"_s);
    QVERIFY(connection.registerObject(u"/org/freedesktop/Notifications"_s, &server, QDBusConnection::ExportAllSlots));
    QVERIFY(connection.registerService(u"org.freedesktop.Notifications"_s));

    LinuxAlerts().notify(u"A & B"_s, u"<b>1</b> & 2"_s);
    QTRY_COMPARE(server.shown, QStringList(u"A & B|<b>1</b> & 2"_s));
    server.capabilities = QStringList{u"body"_s, u"body-markup"_s};
    LinuxAlerts().notify(u"A & B"_s, u"<b>1</b> & 2"_s);
    QTRY_COMPARE(server.shown.size(), 2);
    QCOMPARE(server.shown.last(), u"A & B|&lt;b&gt;1&lt;/b&gt; &amp; 2"_s);

    LinuxAlerts alerts;
    for (const QString &kind : {u"fault"_s, u"fault"_s, u"files"_s, u"fault"_s, QString(), QString()}) {
        const qsizetype before = server.shown.size();
        alerts.notify(u"Title"_s, {}, kind);
        QTRY_COMPARE(server.shown.size(), before + 1);
        // The number of the notice has arrived when a later answer has.
        const QDBusPendingCall answer = QDBusConnection::sessionBus().asyncCall(
            QDBusMessage::createMethodCall(u"org.freedesktop.DBus"_s, u"/"_s, u"org.freedesktop.DBus"_s, u"GetId"_s));
        QTRY_VERIFY(answer.isFinished());
    }
    QCOMPARE(server.replaces.mid(2), QList<uint>({0, 3, 0, 3, 0, 0}));
}

QTEST_MAIN(LinuxAlertsTest)
#include "LinuxAlertsTest.moc"
