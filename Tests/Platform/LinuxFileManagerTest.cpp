// SPDX-License-Identifier: LicenseRef-Quillmount
#include "Platform/Linux/LinuxWorkspace.h"
#include "Tests/Support/PrivateBus.h"
#include "Tests/Support/TestFiles.h"

#include <QDBusContext>
#include <QFile>
#include <QTemporaryDir>
#include <QTest>

using namespace quillmount;
using namespace Qt::StringLiterals;

// A file manager as the bus knows it.
class FileManager : public QObject, protected QDBusContext {
    Q_OBJECT
    Q_CLASSINFO("D-Bus Interface", "org.freedesktop.FileManager1")

public:
    bool refuses = false;
    QStringList shown;

public Q_SLOTS:
    void ShowItems(const QStringList &addresses, const QString &) {
        shown += addresses;
        if (refuses)
            sendErrorReply(QDBusError::Failed);
    }
};

// What is shown in the user's file manager, and what is done where there is none that can show it.
class LinuxFileManagerTest : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void revealsAFile_data();
    void revealsAFile();
};

void LinuxFileManagerTest::revealsAFile_data() {
    QTest::addColumn<bool>("hasBus");
    QTest::addColumn<bool>("hasFileManager");
    QTest::addColumn<bool>("refuses");
    QTest::newRow("file manager") << true << true << false;
    QTest::newRow("it cannot") << true << true << true;
    QTest::newRow("none") << true << false << false;
    QTest::newRow("no bus") << false << false << false;
}

void LinuxFileManagerTest::revealsAFile() {
    QFETCH(bool, hasBus);
    QFETCH(bool, hasFileManager);
    QFETCH(bool, refuses);
    static PrivateBus bus;
    const QByteArray address = qgetenv("DBUS_SESSION_BUS_ADDRESS");
    FileManager fileManager;
    fileManager.refuses = refuses;
    if (hasFileManager) {
        auto connection = bus.join(u"file manager"_s);
        connection.registerObject(u"/org/freedesktop/FileManager1"_s, &fileManager, QDBusConnection::ExportAllSlots);
        connection.registerService(u"org.freedesktop.FileManager1"_s);
    }
    if (!hasBus)
        qputenv("DBUS_SESSION_BUS_ADDRESS", "disabled:");
    const QTemporaryDir folder;
    const QByteArray path = qgetenv("PATH");
    putProgram(folder.filePath(u"xdg-open"_s), "PATH=/bin:/usr/bin\ncd '" + QFile::encodeName(folder.path()) +
                                                   "'\nprintf %s \"$1\" >part; mv part opened");
    qputenv("PATH", QFile::encodeName(folder.path()) + ':' + path);

    LinuxWorkspace().reveal({u"/home/a user/Logs #1/engine.log"_s});
    if (hasFileManager)
        QTRY_COMPARE(fileManager.shown, QStringList(u"file:///home/a%20user/Logs%20%231/engine.log"_s));
    if (!hasFileManager || refuses) {
        QTRY_VERIFY(QFile::exists(folder.filePath(u"opened"_s)));
        QCOMPARE(contentOf(folder.filePath(u"opened"_s)), QByteArray("file:///home/a%20user/Logs%20%231"));
    }

    qputenv("PATH", path);
    qputenv("DBUS_SESSION_BUS_ADDRESS", address);
    bus.leave(u"file manager"_s);
}

QTEST_GUILESS_MAIN(LinuxFileManagerTest)
#include "LinuxFileManagerTest.moc"
