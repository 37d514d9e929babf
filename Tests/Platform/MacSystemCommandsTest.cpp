// SPDX-License-Identifier: LicenseRef-Quillmount
#include "Platform/MacSystemCommands.h"

#include <QtTest>

using namespace quillmount;
using namespace Qt::StringLiterals;

class MacSystemCommandsTest : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void table_data();
    void table();
};

void MacSystemCommandsTest::table_data() {
    QTest::addColumn<QList<Command>>("commands");
    QTest::addColumn<QStringList>("words"); // of the one command: the executable and the arguments

    const MacSystemCommands mac;
    const EngineIdentity engine{u"/Applications/Quillmount.app/Contents/MacOS/QuillmountEngine"_s, u"/x/engine.conf"_s};
    const auto words = [](const char *line) { return QString::fromLatin1(line).split(u' '); };
    QTest::newRow("mount") << QList{mac.mount(61234, u"quillmount.localhost"_s, u"/Users/a/Quillmount"_s)}
                           << words("/sbin/mount_nfs -o port=61234,mountport=61234,tcp,vers=3,locallocks,nodev,nosuid,"
                                    "deadtimeout=30 quillmount.localhost:/ /Users/a/Quillmount");
    QTest::newRow("unmount") << QList{mac.unmount(u"/Volumes/Quillmount"_s)}
                             << words("/sbin/umount /Volumes/Quillmount");
    QTest::newRow("force") << mac.forcedUnmount(u"/Volumes/Quillmount"_s)
                           << words("/sbin/umount -f /Volumes/Quillmount");
    QTest::newRow("find") << QList{mac.findEngines(engine)}
                          << QStringList({u"/usr/bin/pgrep"_s, u"-f"_s, engine.executable});
    QTest::newRow("kill") << mac.endEngines(engine)
                          << QStringList({u"/usr/bin/pkill"_s, u"-KILL"_s, u"-f"_s, engine.executable});
}

void MacSystemCommandsTest::table() {
    QFETCH(QList<Command>, commands);
    QCOMPARE(commands.size(), 1);
    QTEST(QStringList(commands.first().executable) + commands.first().arguments, "words");
}

QTEST_GUILESS_MAIN(MacSystemCommandsTest)
#include "MacSystemCommandsTest.moc"
