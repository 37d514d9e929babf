// SPDX-License-Identifier: LicenseRef-Quillmount
#include "Platform/Linux/LinuxBundle.h"
#include "Platform/Linux/LinuxDirectories.h"
#include "Platform/Linux/LinuxLoginItems.h"
#include "Platform/PlatformError.h"
#include "Tests/Support/TestFiles.h"

#include <QDir>
#include <QFile>
#include <QProcess>
#include <QTemporaryDir>
#include <QTest>

#include <pwd.h>
#include <unistd.h>

using namespace quillmount;
using namespace Qt::StringLiterals;

// What the application finds and leaves in the user's home and beside its own executable.
class LinuxHomeTest : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void init() { m_root = std::make_unique<QTemporaryDir>(); }
    void followsTheBaseDirectoryVariables_data();
    void followsTheBaseDirectoryVariables();
    void findsTheHome();
    void readsTheBundle();
    void isMovedOnlyFromAFolderOfItsName();
    void loginItemIsLaunched_data();
    void loginItemIsLaunched();
    void loginItemHonoursTheDesktopsSwitches_data();
    void loginItemHonoursTheDesktopsSwitches();
    void loginItemReportsFailures();

private:
    QString program(const QString &folder, const QByteArray &script) const {
        return putProgram(m_root->path() + u'/' + folder + u"/Quillmount"_s, script);
    }

    std::unique_ptr<QTemporaryDir> m_root;
};

void LinuxHomeTest::followsTheBaseDirectoryVariables_data() {
    QTest::addColumn<QByteArray>("value");
    QTest::addColumn<bool>("counts");
    QTest::newRow("absolute") << QByteArray("/x/y z") << true;
    QTest::newRow("relative") << QByteArray("x/y z") << false;
    QTest::newRow("home sign") << QByteArray("~/x") << false;
    QTest::newRow("empty") << QByteArray("") << false;
}

void LinuxHomeTest::followsTheBaseDirectoryVariables() {
    QFETCH(QByteArray, value);
    QFETCH(bool, counts);
    const LinuxDirectories directories;
    const struct {
        const char *variable;
        QString (LinuxDirectories::*directory)() const;
        QString fallback;
    } table[] = {
        {"XDG_DATA_HOME", &LinuxDirectories::applicationSupport, u"/home/me/.local/share"_s},
        {"XDG_CACHE_HOME", &LinuxDirectories::caches, u"/home/me/.cache"_s},
        {"XDG_STATE_HOME", &LinuxDirectories::library, u"/home/me/.local/state"_s},
        {"XDG_CONFIG_HOME", &LinuxDirectories::configuration, u"/home/me/.config"_s},
    };
    const QByteArray home = qgetenv("HOME");
    qputenv("HOME", "/home/me/");
    QStringList found;
    QStringList expected;
    for (const auto &row : table) {
        qunsetenv(row.variable);
        found.append((directories.*row.directory)());
        expected.append(row.fallback);
        qputenv(row.variable, value);
        found.append((directories.*row.directory)());
        expected.append(counts ? u"/x/y z"_s : row.fallback);
        qunsetenv(row.variable);
    }
    qputenv("HOME", home);
    QCOMPARE(found, expected);
}

void LinuxHomeTest::findsTheHome() {
    const LinuxDirectories directories;
    const QByteArray home = qgetenv("HOME");
    qputenv("HOME", "relative");
    const QString found = directories.home();
    qputenv("HOME", home);
    QCOMPARE(found, QDir::cleanPath(QFile::decodeName(::getpwuid(::getuid())->pw_dir)));
}

void LinuxHomeTest::readsTheBundle() {
    const QString folder = m_root->path();
    putFile(folder + u"/Info.json"_s, R"({"name": "Quillmount", "build": 7})");
    putFile(folder + u"/notes"_s, "x");
    const QString tool = program(u"tools"_s, "exit 0");
    QVERIFY(QFile::link(tool, folder + u"/helper"_s));

    const LinuxBundle bundle(folder);
    QCOMPARE(bundle.infoString(u"name"_s), std::optional(u"Quillmount"_s));
    QVERIFY(!bundle.infoString(u"build"_s));
    QVERIFY(!bundle.infoString(u"missing"_s));
    QVERIFY(!bundle.location());
    QCOMPARE(bundle.auxiliaryExecutable(u"helper"_s), std::optional(folder + u"/helper"_s));
    for (const QString &name : {u"notes"_s, u"tools"_s, u"missing"_s, u"tools/Quillmount"_s, u""_s, u".."_s})
        QVERIFY2(!bundle.auxiliaryExecutable(name), qPrintable(name));
}

void LinuxHomeTest::isMovedOnlyFromAFolderOfItsName() {
    const QByteArray dictionary = R"({"QMFolderName": "Quillmount 1.0"})";
    for (const QString &name : {u"Quillmount 1.0"_s, u"bin"_s})
        putFile(m_root->filePath(name + u"/Info.json"_s), dictionary);
    const QString folder = m_root->filePath(u"Quillmount 1.0"_s);
    QCOMPARE(LinuxBundle(folder).location(), std::optional(folder));
    QVERIFY(!LinuxBundle(m_root->filePath(u"bin"_s)).location());
}

void LinuxHomeTest::loginItemIsLaunched_data() {
    QTest::addColumn<QString>("folder");
    QTest::newRow("plain") << u"opt"_s;
    QTest::newRow("white space") << u"two  words"_s;
    QTest::newRow("reserved") << u"a \"b\" `c` $HOME \\d \\\\e 'f' ;&|<>*?#()~"_s;
    QTest::newRow("field codes") << u"100% %f %% %k"_s;
    QTest::newRow("equals sign") << u"a=b"_s;
    QTest::newRow("escapes") << u"back\\n \\s \\t"_s;
    QTest::newRow("letters") << u"\u00fcber \U0001F58B"_s;
}

// The judge is the desktop's own launcher.
void LinuxHomeTest::loginItemIsLaunched() {
    QFETCH(QString, folder);
    const QString mark = m_root->path() + u"/started"_s;
    const QString executable = program(folder, "printf '%s\\n' \"$0\" \"$@\" >>'" + QFile::encodeName(mark) + '\'');
    LinuxLoginItems items(m_root->path(), executable);
    QVERIFY(!items.isEnabled());
    items.setEnabled(true);
    QVERIFY(items.isEnabled());

    const QString entry = m_root->path() + u"/autostart/com.orvane.quillmount.desktop"_s;
    QCOMPARE(QProcess::execute(u"gio"_s, {u"launch"_s, entry}), 0);
    QTRY_COMPARE(QString::fromUtf8(contentOf(mark)), executable + u"\n--background\n"_s);

    QVERIFY(QFile::remove(executable));
    QVERIFY2(!items.isEnabled(), "what it would start is gone");
    items.setEnabled(false);
    QVERIFY(!QFile::exists(entry));
}

void LinuxHomeTest::loginItemHonoursTheDesktopsSwitches_data() {
    QTest::addColumn<QByteArray>("lines");
    QTest::addColumn<bool>("enabled");
    const QByteArray entry = "[Desktop Entry]\nType=Application\nName=Quillmount\nExec=true --background\n";
    QTest::newRow("plain") << entry << true;
    QTest::newRow("hidden") << QByteArray(entry + "Hidden=true\n") << false;
    QTest::newRow("not hidden") << QByteArray(entry + "Hidden = false\n") << true;
    QTest::newRow("off") << QByteArray(entry + "X-GNOME-Autostart-enabled=false\n") << false;
    QTest::newRow("off in MATE") << QByteArray(entry + "X-MATE-Autostart-enabled=false\n") << false;
    QTest::newRow("for this desktop") << QByteArray(entry + "OnlyShowIn=KDE;GNOME;\n") << true;
    QTest::newRow("for another") << QByteArray(entry + "OnlyShowIn=KDE;\n") << false;
    QTest::newRow("not for this one") << QByteArray(entry + "NotShowIn=X-Cinnamon;GNOME;\n") << false;
    QTest::newRow("not for its variant") << QByteArray(entry + "NotShowIn=GNOME\nOnlyShowIn=ubuntu\n") << true;
    QTest::newRow("commented") << QByteArray(entry + "#Hidden=true\n") << true;
    QTest::newRow("another group") << QByteArray(entry + "[Desktop Action Quit]\nHidden=true\n") << true;
    QTest::newRow("empty") << QByteArray() << false;
}

void LinuxHomeTest::loginItemHonoursTheDesktopsSwitches() {
    QFETCH(QByteArray, lines);
    QFETCH(bool, enabled);
    qputenv("XDG_CURRENT_DESKTOP", "ubuntu:GNOME");
    const QString entry = m_root->path() + u"/autostart/com.orvane.quillmount.desktop"_s;
    LinuxLoginItems items(m_root->path(), program(u"opt"_s, "exit 0"));
    // A program that is gone is mended where nothing else is in the way.
    putFile(entry, lines + "[Desktop Entry]\nTryExec=/gone\n");
    items.repair();
    QCOMPARE(items.isEnabled(), enabled);
    putFile(entry, lines);
    items.repair();
    QCOMPARE(contentOf(entry), lines);
    QCOMPARE(items.isEnabled(), enabled);
    // Turning it on by hand wins over an earlier switch.
    items.setEnabled(true);
    QVERIFY(items.isEnabled());
}

void LinuxHomeTest::loginItemReportsFailures() {
    putFile(m_root->path() + u"/autostart"_s, "in the way");
    LinuxLoginItems items(m_root->path(), u"/bin/true"_s);
    QVERIFY_THROWS_EXCEPTION(PlatformError, items.setEnabled(true));
    QVERIFY(!items.isEnabled());
}

QTEST_GUILESS_MAIN(LinuxHomeTest)
#include "LinuxHomeTest.moc"
