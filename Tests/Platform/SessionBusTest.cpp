// SPDX-License-Identifier: LicenseRef-Quillmount
#include "Platform/Linux/SessionBus.h"
#include "Platform/Linux/LinuxSecretStore.h"
#include "Platform/OwnEnvironment.h"
#include "Tests/Support/TestFiles.h"

#include <QDBusConnection>
#include <QFile>
#include <QTemporaryDir>
#include <QTest>

#include <gio/gio.h>

using namespace quillmount;
using namespace Qt::StringLiterals;

// Which environments name a bus, and that nothing starts one where there is none.
class SessionBusTest : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void init();
    void isThere_data();
    void isThere();
    void noneIsStarted_data();
    void noneIsStarted();

private:
    [[nodiscard]] bool wasStarted() const { return QFile::exists(m_folder->filePath(u"started"_s)); }

    std::unique_ptr<QTemporaryDir> m_folder;
    QByteArray m_path = qgetenv("PATH");
};

void SessionBusTest::init() {
    // What starts a bus, in its libraries' opinion. They look for a display first.
    m_folder = std::make_unique<QTemporaryDir>();
    putProgram(m_folder->filePath(u"dbus-launch"_s), "echo >" + QFile::encodeName(m_folder->filePath(u"started"_s)));
    qputenv("PATH", QFile::encodeName(m_folder->path()) + ':' + m_path);
    qputenv("DISPLAY", ":none");
    qputenv("XDG_RUNTIME_DIR", QFile::encodeName(m_folder->path()));
    qunsetenv("DBUS_SESSION_BUS_ADDRESS");
}

void SessionBusTest::isThere_data() {
    QTest::addColumn<QByteArray>("address");
    QTest::addColumn<bool>("inRuntimeFolder");
    QTest::addColumn<bool>("there");
    QTest::newRow("address") << QByteArray("unix:path=/run/bus") << false << true;
    QTest::newRow("folder") << QByteArray() << true << true;
    QTest::newRow("neither") << QByteArray() << false << false;
    QTest::newRow("empty") << QByteArray("") << true << false;
    QTest::newRow("asks for a start") << QByteArray("autolaunch:") << true << false;
    QTest::newRow("asks for a start at last") << QByteArray("unix:path=/nonexistent;autolaunch:") << false << false;
    QTest::newRow("switched off") << QByteArray("disabled:") << true << false;
}

void SessionBusTest::isThere() {
    QFETCH(QByteArray, address);
    QFETCH(bool, inRuntimeFolder);
    if (!address.isNull())
        qputenv("DBUS_SESSION_BUS_ADDRESS", address);
    QFile bus(m_folder->filePath(u"bus"_s));
    QVERIFY(!inRuntimeFolder || bus.open(QIODevice::WriteOnly));
    QTEST(SessionBus::isThere(), "there");
    SessionBus::startNone();
    QTEST(SessionBus::isThere(), "there");
}

void SessionBusTest::noneIsStarted_data() {
    QTest::addColumn<QByteArray>("address");
    QTest::addColumn<bool>("prevented");
    QTest::newRow("unset") << QByteArray() << true;
    QTest::newRow("asks for a start") << QByteArray("autolaunch:") << true;
    // The last, because a library keeps the first address that it finds.
    QTest::newRow("a library by itself") << QByteArray() << false;
}

void SessionBusTest::noneIsStarted() {
    QFETCH(QByteArray, address);
    QFETCH(bool, prevented);
    if (!address.isNull())
        qputenv("DBUS_SESSION_BUS_ADDRESS", address);
    const QByteArray secret = "secret";
    LinuxSecretStore store;
    QVERIFY(!store.add(u"service"_s, u"account"_s, secret));
    QVERIFY(!wasStarted());
    if (prevented)
        SessionBus::startNone();
    QVERIFY(!QDBusConnection::connectToBus(QDBusConnection::SessionBus, u"of the test"_s).isConnected());
    QDBusConnection::disconnectFromBus(u"of the test"_s);
    g_free(g_dbus_address_get_for_bus_sync(G_BUS_TYPE_SESSION, nullptr, nullptr));
    QCOMPARE(wasStarted(), !prevented);
    // A program of the user's decides for itself.
    if (prevented)
        QVERIFY(!OwnEnvironment::forChildren().contains(u"DBUS_SESSION_BUS_ADDRESS"_s));
}

QTEST_GUILESS_MAIN(SessionBusTest)
#include "SessionBusTest.moc"
