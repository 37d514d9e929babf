// SPDX-License-Identifier: LicenseRef-Quillmount
// The settings window of the whole application on a desktop, used by keys alone and read as by a screen reader. With
// QUILLMOUNT_PICTURES=FOLDER, pictures of it are saved there.
#include "Tests/EndToEnd/Application.h"
#include "Tests/EndToEnd/PanelUser.h"
#include "Tests/EndToEnd/SignInHome.h"
#include "Tests/Support/Desktop.h"

#include <QGuiApplication>
#include <QTest>

using namespace quillmount;
using namespace Qt::StringLiterals;

namespace {
constexpr int limit = 30'000; // ms
}

class SettingsTest : public QObject, private PanelUser {
    Q_OBJECT

public:
    explicit SettingsTest(Desktop &desktop)
        : PanelUser(desktop)
        , m_desktop(desktop) {}

private Q_SLOTS:
    void init();
    void cleanup();
    void byKeysAlone();
    void warnsOfWhatIsNotUploaded();

private:
    // Starts the application with an account; without a bar its panel is a window, from which a key leads on.
    [[nodiscard]] bool openSettings();
    // Presses a key until this has the focus.
    [[nodiscard]] bool reach(const QString &name, const QString &key = u"Tab"_s);

    Desktop &m_desktop;
    std::unique_ptr<SignInHome> m_home;
    std::unique_ptr<Application> m_application;
};

void SettingsTest::init() {
    m_home = std::make_unique<SignInHome>();
    sitDownAt(*m_home);
    m_application = std::make_unique<Application>(*m_home);
    m_home->prepare(*m_application);
    m_desktop.addTo(m_application->environment);
    m_home->setBrowser(R"(printf '%s\n' "$1" >>"$HOME/opened")");
}

void SettingsTest::cleanup() {
    if (QTest::currentTestFailed())
        qInfo().noquote() << "the windows:" << texts() << "\nthe focus:" << focused();
    m_application.reset();
    m_home.reset();
}

bool SettingsTest::openSettings() {
    m_home->addAccount();
    m_application->start();
    if (!m_application->comesTo(u"live"_s) || !shows({u"Status: Connected"_s}))
        return false;
    m_desktop.press(u"ctrl+comma"_s);
    return shows({u"Quillmount Settings"_s, u"General"_s});
}

bool SettingsTest::reach(const QString &name, const QString &key) {
    for (int i = 0; i < 10; ++i) {
        const QString before = focused();
        m_desktop.press(key);
        (void)QTest::qWaitFor([&] { return focused() != before; }, 2000);
        if (focused() == name)
            return true;
    }
    return false;
}

void SettingsTest::byKeysAlone() {
    QVERIFY(openSettings());
    QCOMPARE(focused(), QString());
    QVERIFY(
        shows({u"Recent files on this Mac: Up to 20 GB"_s, u"Open Quillmount when I log in"_s, u"Show in Finder"_s}));
    takePicture(u"settings-general"_s, u"Quillmount Settings"_s);
    QVERIFY(reach(u"Recent files on this Mac: Up to 20 GB"_s));
    m_desktop.press(u"Down"_s);
    m_desktop.press(u"Down"_s);
    // Two steps, one relaunch; the drive comes back with the new limit.
    QVERIFY(m_application->comesTo(u"stopped"_s));
    QVERIFY(m_application->comesTo(u"live"_s));
    QCOMPARE(m_application->states().count(u"stopped"_s), 1);
    QFile arguments(u"/proc/%1/cmdline"_s.arg(m_home->engine()));
    QVERIFY(arguments.open(QIODevice::ReadOnly));
    QVERIFY(arguments.readAll().split('\0').contains("100000000000"));

    const QString entry = m_home->path() + u"/.config/autostart/com.orvane.quillmount.desktop"_s;
    QVERIFY(!QFile::exists(entry));
    QVERIFY(reach(u"Open Quillmount when I log in"_s));
    m_desktop.press(u"space"_s);
    QTRY_VERIFY(QFile::exists(entry));
    QVERIFY(reach(u"Show in Finder"_s));
    m_desktop.press(u"Return"_s);
    QTRY_VERIFY_WITH_TIMEOUT(m_home->read(u"opened"_s).contains(QUrl::fromLocalFile(m_home->mountPoint()).toEncoded()),
                             limit);

    m_desktop.press(u"ctrl+Tab"_s);
    QVERIFY(shows({u"Google account: Not connected"_s, u"Folder in Google Drive: My Drive \u203A Quillmount"_s,
                   u"Disconnect Account\u2026"_s, u"Uninstall Quillmount\u2026"_s}));
    takePicture(u"settings-account"_s, u"Quillmount Settings"_s);
    QVERIFY(reach(u"Uninstall Quillmount\u2026"_s));
    m_desktop.press(u"Return"_s);
    QVERIFY(shows({u"Uninstall Quillmount?"_s}));
    m_desktop.press(u"Return"_s);
    QVERIFY(QTest::qWaitFor([&] { return focused() == u"Uninstall Quillmount\u2026"_s; }));

    m_desktop.press(u"ctrl+Tab"_s);
    QVERIFY(shows({u"Contact Support"_s, u"Check for Updates\u2026"_s}));
    takePicture(u"settings-about"_s, u"Quillmount Settings"_s);
    QVERIFY(reach(u"Acknowledgements"_s));
    m_desktop.press(u"Return"_s);
    QVERIFY(shows({u"Done"_s}));
    m_desktop.press(u"Escape"_s);
    QVERIFY(QTest::qWaitFor([&] { return !texts().contains(u"Done"_s); }));
    m_desktop.press(u"Escape"_s);
    QVERIFY(QTest::qWaitFor([&] { return !texts().contains(u"Quillmount Settings"_s); }));
}

void SettingsTest::warnsOfWhatIsNotUploaded() {
    QVERIFY(openSettings());
    m_home->stallUploads();
    for (int i = 0; i < 5; ++i)
        QVERIFY(m_home->save(u"file %1.bin"_s.arg(i), "saved"));
    QVERIFY(shows({u"Uploading 5 files"_s}));
    QVERIFY(press(u"Eject"_s));
    QVERIFY(press(u"Eject Now"_s));
    QVERIFY(m_application->comesTo(u"stopped"_s));

    m_desktop.press(u"ctrl+Tab"_s);
    QVERIFY(reach(u"Disconnect Account\u2026"_s));
    const QString warning =
        u"5 files haven't finished uploading. Disconnecting now removes them from this Mac before they reach Google Drive. To keep them, cancel and wait until uploading finishes."_s;
    m_desktop.press(u"Return"_s);
    QVERIFY(shows({u"Disconnect your Google account?"_s, warning}));
    takePicture(u"settings-disconnect"_s, u"Quillmount Settings"_s);
    QVERIFY(reach(u"Disconnect Anyway"_s));
    m_desktop.press(u"Return"_s);
    QVERIFY(QTest::qWaitFor([&] { return !texts().contains(warning); }));
    QVERIFY(QFile::exists(m_home->engineConfiguration()));

    m_desktop.press(u"Return"_s);
    QVERIFY(shows({warning}));
    QVERIFY(reach(u"Disconnect Anyway"_s));
    m_desktop.press(u"space"_s);
    QVERIFY(shows({u"Connect Google Drive"_s}));
    QVERIFY(!QFile::exists(m_home->engineConfiguration()));
    QVERIFY(reach(u"Connect Google Drive"_s));
    m_desktop.press(u"Return"_s);
    QVERIFY(shows({u"Welcome to Quillmount"_s}));
}

int main(int argc, char *argv[]) {
    const QGuiApplication application(argc, argv);
    Desktop desktop(Desktop::Bar::missing);
    SettingsTest test(desktop);
    return QTest::qExec(&test, argc, argv);
}
#include "SettingsTest.moc"
