// SPDX-License-Identifier: LicenseRef-Quillmount
// The texts that root runs on macOS, where nothing of this can be tried out here, and what is asked before.
#include "Location/LocationSetup.h"

#include <QFile>
#include <QXmlStreamReader>
#include <QtTest>

using namespace quillmount;
using namespace Qt::StringLiterals;

class LocationSetupTest : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void texts_data();
    void texts();
    void whoseSetUp_data();
    void whoseSetUp();
    void policy();
};

namespace {

constexpr auto mac = LocationSetup::System::macOS;

constexpr auto list = R"(<?xml version="1.0" encoding="UTF-8"?>
<!DOCTYPE plist PUBLIC "-//Apple//DTD PLIST 1.0//EN" "http://www.apple.com/DTDs/PropertyList-1.0.dtd">
<plist version="1.0">
<dict>
    <key>Label</key><string>com.orvane.quillmount.volume</string>
    <key>ProgramArguments</key>
    <array>
        <string>/bin/sh</string>
        <string>-c</string>
        <string>[ -d '/Volumes/Quillmount' ] || { /bin/mkdir -p '/Volumes/Quillmount' &amp;&amp; /usr/sbin/chown 501:staff '/Volumes/Quillmount' &amp;&amp; /bin/chmod 755 '/Volumes/Quillmount'; }; exit 0</string>
    </array>
    <key>WatchPaths</key>
    <array><string>/Volumes</string></array>
    <key>RunAtLoad</key><true/>
    <key>ThrottleInterval</key><integer>1</integer>
</dict>
</plist>
)";

constexpr auto install =
    "/bin/mkdir -p '/Volumes/Quillmount' && /usr/sbin/chown 501:staff '/Volumes/Quillmount' && "
    "/bin/chmod 755 '/Volumes/Quillmount' && "
    "/bin/cp '/tmp/x/com.orvane.quillmount.volume.plist' "
    "'/Library/LaunchDaemons/com.orvane.quillmount.volume.plist' && "
    "/usr/sbin/chown root:wheel '/Library/LaunchDaemons/com.orvane.quillmount.volume.plist' && "
    "/bin/chmod 644 '/Library/LaunchDaemons/com.orvane.quillmount.volume.plist' && "
    "(/bin/launchctl bootout system/com.orvane.quillmount.volume 2>/dev/null; /bin/launchctl bootstrap system "
    "'/Library/LaunchDaemons/com.orvane.quillmount.volume.plist') && "
    "(/usr/bin/grep -qE '^127[.]0[.]0[.]1[[:space:]]+Quillmount$' /etc/hosts || /bin/echo '127.0.0.1 Quillmount' >> "
    "/etc/hosts) && /usr/bin/dscacheutil -flushcache && /bin/echo QUILLMOUNT_SETUP_OK";

constexpr auto uninstall = "/bin/launchctl bootout system/com.orvane.quillmount.volume 2>/dev/null; true && "
                           "/bin/rm -f '/Library/LaunchDaemons/com.orvane.quillmount.volume.plist' && "
                           "/bin/rmdir '/Volumes/Quillmount' 2>/dev/null; true && "
                           "/usr/bin/sed -i '' '/^127[.]0[.]0[.]1[[:space:]]*Quillmount$/d' /etc/hosts && "
                           "/usr/bin/dscacheutil -flushcache && /bin/echo QUILLMOUNT_SETUP_OK";

} // namespace

void LocationSetupTest::texts_data() {
    using namespace LocationSetup;
    QTest::addColumn<std::string>("actual");
    QTest::addColumn<std::string>("expected");
    QTest::newRow("property list") << propertyList(mac, 501) << std::string(list);
    QTest::newRow("install") << withMarker(installScript(mac, 501, "/tmp/x/com.orvane.quillmount.volume.plist"))
                             << std::string(install);
    QTest::newRow("uninstall") << withMarker(uninstallScript(mac, 501)) << std::string(uninstall);
    QTest::newRow("prompt to install")
        << std::string(installPrompt)
        << std::string("Quillmount needs your password once to add your drive to Finder's Locations.");
    QTest::newRow("prompt to uninstall")
        << std::string(uninstallPrompt)
        << std::string("Quillmount needs your password to remove its drive setup from this Mac.");
}

void LocationSetupTest::texts() {
    QFETCH(std::string, actual);
    QFETCH(std::string, expected);
    QCOMPARE(QString::fromStdString(actual), QString::fromStdString(expected));
}

void LocationSetupTest::whoseSetUp_data() {
    QTest::addColumn<QString>("text");
    QTest::addColumn<unsigned>("uid");
    QTest::addColumn<bool>("ours");
    const QString ofUser = QString::fromStdString(LocationSetup::propertyList(mac, 1000));
    QTest::newRow("this user's") << ofUser << 1000U << true;
    QTest::newRow("the end of a number") << ofUser << 0U << false;
    QTest::newRow("the beginning of a number") << ofUser << 100U << false;
    QTest::newRow("an older layout") << QString(ofUser).remove(u"WatchPaths"_s) << 1000U << false;
}

void LocationSetupTest::whoseSetUp() {
    QFETCH(QString, text);
    QFETCH(unsigned, uid);
    QTEST(LocationSetup::isSetUpFor(text.toStdString(), uid), "ours");
}

// The system asks with what stands in its policy, and runs what stands there.
void LocationSetupTest::policy() {
    QFile file(QUILLMOUNT_SOURCE_DIR "/Packaging/com.orvane.quillmount.policy"_L1);
    QVERIFY(file.open(QIODevice::ReadOnly));
    QXmlStreamReader reader(&file);
    QStringList facts;
    while (!reader.atEnd()) {
        reader.readNext();
        if (!reader.isStartElement())
            continue;
        const QString name = reader.name().toString();
        if (name == "message"_L1 || name == "annotate"_L1 || name.startsWith("allow_"_L1))
            facts.append(reader.readElementText());
    }
    QVERIFY2(!reader.hasError(), qPrintable(reader.errorString()));
    const auto fact = [](std::string_view text) { return QString::fromUtf8(text.data(), qsizetype(text.size())); };
    QStringList expected;
    for (const bool installs : {true, false})
        expected << fact(installs ? LocationSetup::installPrompt : LocationSetup::uninstallPrompt) << u"no"_s << u"no"_s
                 << u"auth_admin"_s << fact(LocationSetup::program) << (installs ? u"install"_s : u"uninstall"_s);
    QCOMPARE(facts, expected);
}

QTEST_GUILESS_MAIN(LocationSetupTest)
#include "LocationSetupTest.moc"
