// SPDX-License-Identifier: LicenseRef-Quillmount
// The status panel of the whole application on a desktop: what it says about the drive, and what its buttons and keys
// do. It is read and used as by a screen reader. With QUILLMOUNT_PICTURES=FOLDER, pictures of it are saved there.
#include "Tests/EndToEnd/Application.h"
#include "Tests/EndToEnd/PanelUser.h"
#include "Tests/EndToEnd/SignInHome.h"
#include "Tests/Support/Desktop.h"

#include <QGuiApplication>
#include <QRegularExpression>
#include <QTest>

#include <csignal>
#include <future>
#include <sched.h>

using namespace quillmount;
using namespace Qt::StringLiterals;

namespace {

const QString allThere = u"Everything is on Google Drive"_s;
constexpr int limit = 30'000; // ms

// Who shows notifications on a desktop.
class Notifications : public QObject {
    Q_OBJECT
    Q_CLASSINFO("D-Bus Interface", "org.freedesktop.Notifications")

public:
    explicit Notifications(QDBusConnection bus) {
        bus.registerObject(u"/org/freedesktop/Notifications"_s, this, QDBusConnection::ExportAllSlots);
        bus.registerService(u"org.freedesktop.Notifications"_s);
    }
    QStringList titles;

public Q_SLOTS:
    QStringList GetCapabilities() const { return {u"body"_s}; }
    uint Notify(const QString &, uint, const QString &, const QString &title, const QString &, const QStringList &,
                const QVariantMap &, int) {
        titles.append(title);
        return uint(titles.size());
    }
};

bool run(const QString &program, const QStringList &arguments) {
    return QProcess::execute(program, arguments) == 0;
}

} // namespace

class PanelTest : public QObject, private PanelUser {
    Q_OBJECT

public:
    explicit PanelTest(Desktop &desktop, bool hasOwnNetwork)
        : PanelUser(desktop)
        , m_desktop(desktop)
        , m_hasOwnNetwork(hasOwnNetwork)
        , m_notifications(desktop.bus()) {}

private Q_SLOTS:
    void init();
    void cleanup();
    void uploads();
    void signsIn();
    void tellsOfTrouble();
    void ejects();
    void asksBeforeItQuits_data();
    void asksBeforeItQuits();
    void obeysKeys();
    void worksWithoutABar();
    void worksWithoutABus();
    void isOffline();
    void hasNoOtherButtons();

private:
    // Starts the application with a new account and opens its panel by a click, when the drive is live.
    [[nodiscard]] bool openLive();
    // Adds an account whose access tokens are short-lived, so that the loss of its grant is noticed soon.
    void addFleetingAccount();
    // Takes the grant back, and has the engine ask Google for something.
    [[nodiscard]] bool revokeGrant();
    // Lets uploads wait and saves so many files, until the panel shows them.
    [[nodiscard]] bool savePending(int count);
    // What was given to the program that opens addresses, one a line.
    [[nodiscard]] QStringList opened() const {
        return QString::fromUtf8(m_home->read(u"opened"_s)).split(u'\n', Qt::SkipEmptyParts);
    }

    Desktop &m_desktop;
    bool m_hasOwnNetwork;
    Notifications m_notifications;
    std::unique_ptr<SignInHome> m_home;
    std::unique_ptr<Application> m_application;
};

void PanelTest::init() {
    m_home = std::make_unique<SignInHome>();
    sitDownAt(*m_home);
    m_application = std::make_unique<Application>(*m_home);
    m_home->prepare(*m_application);
    m_desktop.addTo(m_application->environment);
    // A browser without a window, which follows the page of Google only when it may.
    m_home->setBrowser(R"(printf '%s\n' "$1" >>"$HOME/opened"
if [ -e "$HOME/agree" ]; then exec curl --silent --noproxy '*' --location --output "$HOME/page" -- "$1"; fi)");
    m_home->google.answerThePage(u"agree"_s);
}

void PanelTest::cleanup() {
    if (QTest::currentTestFailed())
        qInfo().noquote() << "the panel:" << texts() << "\nopened:" << opened();
    m_application.reset();
    m_home.reset();
    m_desktop.setBar(Desktop::Bar::there);
}

void PanelTest::addFleetingAccount() {
    // The engine renews a token ten seconds before its end.
    constexpr int lifetime = 13;
    m_home->google.control("POST", u"/settings"_s, {{"tokenLifetime"_L1, lifetime}});
    m_home->addAccount(m_home->newToken(lifetime));
}

bool PanelTest::revokeGrant() {
    m_home->google.revokeGrant();
    return m_home->save(u"late.bin"_s, "late");
}

bool PanelTest::openLive() {
    if (!QFile::exists(m_home->engineConfiguration()))
        m_home->addAccount();
    m_application->start();
    return m_application->comesTo(u"live"_s) && clickIcon() && shows({u"Status: Connected"_s, allThere});
}

bool PanelTest::savePending(int count) {
    m_home->stallUploads();
    for (int i = 0; i < count; ++i)
        if (!m_home->save(u"<b>file<b> %1.bin"_s.arg(i), someBytes(200'001, quint32(i))))
            return false;
    return shows({count == 1 ? u"Uploading 1 file"_s : u"Uploading %1 files"_s.arg(count)});
}

void PanelTest::uploads() {
    const QByteArray large = someBytes(12'000'000, 9);
    m_home->google.makeFolder(u"Quillmount"_s);
    m_home->google.write(u"Quillmount/large.bin"_s, large);
    QVERIFY(openLive());
    QVERIFY(shows({u"Files you save upload a few seconds later."_s}));
    takePicture(u"panel"_s);

    m_home->google.fault(
        {{"kind"_L1, "stall"_L1}, {"path"_L1, "/upload/"_L1}, {"of"_L1, "request"_L1}, {"afterBytes"_L1, 1'500'000}});
    const QStringList names{u"Holiday film.mov"_s, u"Notes.txt"_s, u"Report for the committee.odt"_s};
    const auto save = [&](int i) { return m_home->save(names[i], someBytes(i == 0 ? 100'000'000 : 3'000'000, 1)); };
    QVERIFY(save(0) && save(1));
    QVERIFY(shows({u"Uploading 2 files"_s}));
    // Somebody reads a large file meanwhile. That is no upload.
    const int reading = m_home->google.fault({{"kind"_L1, "stall"_L1},
                                              {"path"_L1, "/drive/v3/files/"_L1},
                                              {"query"_L1, "alt=media"_L1},
                                              {"of"_L1, "response"_L1},
                                              {"afterBytes"_L1, 100'000}});
    auto read = std::async(std::launch::async, [this] { return m_home->load(u"large.bin"_s); });
    QTRY_VERIFY_WITH_TIMEOUT(m_home->hits(reading) > 0, limit);
    QVERIFY(save(2));
    QVERIFY(shows({u"Status: Uploading"_s, u"Uploading 3 files"_s}));
    const auto rows = [&] {
        static const QRegularExpression row(u"^Uploading (.+), \\d+ percent$"_s);
        QStringList found;
        const QStringList shown = texts();
        for (const QString &text : shown)
            if (const auto match = row.match(text); match.hasMatch())
                found.append(match.captured(1));
        found.sort();
        return found;
    };
    QTRY_COMPARE_WITH_TIMEOUT(rows(), names, limit);
    // What the system holds counts, what the engine has read ahead does not.
    static const QRegularExpression begun(u"^Uploading Holiday film\\.mov, [1-9] percent$"_s);
    QTRY_COMPARE_WITH_TIMEOUT(texts().filter(begun).size(), 1, limit);
    takePicture(u"uploading"_s);
    m_home->google.clearFaults();
    QVERIFY(shows({allThere, u"Status: Connected"_s}));
    QTRY_VERIFY(rows().isEmpty());
    QVERIFY(read.get() == large);
}

void PanelTest::signsIn() {
    m_application->start();
    QVERIFY(shows({u"Status: Not set up"_s, u"Use your Google Drive space as a drive"_s}));
    takePicture(u"not-set-up"_s);
    QVERIFY(press(u"Set Up Quillmount"_s));
    QVERIFY(press(u"Continue"_s));
    QVERIFY(press(u"Open Again"_s));
    QTRY_COMPARE_WITH_TIMEOUT(opened().size(), 2, limit);
    QVERIFY(opened()[0].startsWith(m_home->google.accounts()));
    QCOMPARE(opened()[0], opened()[1]);
    QVERIFY(press(u"Cancel"_s));
    m_application->signal(SIGTERM);
    QCOMPARE(m_application->end(), 0);
}

void PanelTest::tellsOfTrouble() {
    m_home->google.setQuota(1000);
    addFleetingAccount();
    QVERIFY(openLive());
    QVERIFY(m_home->save(u"too large.bin"_s, someBytes(100'001, 1)));
    QVERIFY(shows({u"Status: Upload problem"_s, u"1 file couldn't upload yet"_s,
                   u"They're saved on this Mac and Quillmount keeps retrying. If this doesn't clear, get help."_s}));
    takePicture(u"upload-problem"_s);
    QVERIFY(press(u"Get Help"_s));
    QTRY_VERIFY(opened().value(0).startsWith("mailto:support@"_L1));

    QVERIFY(revokeGrant());
    QVERIFY(shows({u"Status: Needs attention"_s, u"Reconnect your Google account"_s}));
    takePicture(u"reconnect"_s);
    m_home->google.setQuota(0);
    QFile agree(m_home->path() + u"/agree"_s);
    QVERIFY(agree.open(QIODevice::WriteOnly));
    QVERIFY(press(u"Reconnect"_s));
    QVERIFY(press(u"Continue"_s));
    QVERIFY(shows({allThere}));
    QTRY_VERIFY_WITH_TIMEOUT(m_home->onGoogle(u"too large.bin"_s), limit);
}

void PanelTest::ejects() {
    QVERIFY(openLive());
    QVERIFY(savePending(2));
    QVERIFY(shows({u"Uploading <b>file<b> 1.bin, 100 percent"_s}));
    QVERIFY(press(u"Eject"_s));
    QVERIFY(shows({u"Status: Ejecting"_s, u"Uploading 2 files, then ejecting"_s}));
    takePicture(u"ejecting"_s);
    QVERIFY(press(u"Cancel"_s));
    QVERIFY(shows({u"Uploading 2 files"_s}));
    QVERIFY(press(u"Eject"_s));
    QVERIFY(press(u"Eject Now"_s));
    QVERIFY(shows({u"Status: Ejected"_s, u"Drive ejected"_s}));
    QVERIFY(!m_home->isMounted());
    QVERIFY(press(u"Connect Drive"_s));
    m_home->google.clearFaults();
    // Until the engine has been asked for the first time, nothing is pending.
    QTRY_COMPARE_WITH_TIMEOUT(m_home->onGoogle(u"<b>file<b> 1.bin"_s), someBytes(200'001, 1), limit);
    QVERIFY(shows({allThere}));
}

void PanelTest::asksBeforeItQuits_data() {
    QTest::addColumn<int>("pending");
    QTest::addColumn<QString>("question");
    QTest::newRow("one") << 1 << u"1 file still uploading"_s;
    QTest::newRow("three") << 3 << u"3 files still uploading"_s;
}

void PanelTest::asksBeforeItQuits() {
    QFETCH(int, pending);
    QFETCH(QString, question);
    QVERIFY(openLive());
    QVERIFY(savePending(pending));
    m_desktop.press(u"ctrl+q"_s);
    QVERIFY(shows({question}));
    QVERIFY(press(u"Keep Running"_s));
    QTRY_VERIFY(!texts().contains(question));
    QVERIFY(m_home->isMounted());
    QVERIFY(press(u"Quit"_s));
    QVERIFY(shows({question}));
    QVERIFY(press(u"Quit Anyway"_s));
    QCOMPARE(m_application->end(), 0);
    QVERIFY(m_home->isQuiet());
}

void PanelTest::obeysKeys() {
    QVERIFY(openLive());
    const QString drive = QUrl::fromLocalFile(m_home->mountPoint()).toString(QUrl::FullyEncoded);
    const auto openWeb = [this] { return press(u"See your files on Google Drive"_s); };
    // In turn: the same one again at once would be a double click.
    m_desktop.press(u"Return"_s);
    QTRY_COMPARE_WITH_TIMEOUT(opened(), QStringList(drive), limit);
    QVERIFY(openWeb());
    QTRY_COMPARE_WITH_TIMEOUT(opened().size(), 2, limit);
    QVERIFY(opened()[1].startsWith("https://drive.google.com/drive/"_L1));
    m_desktop.press(u"KP_Enter"_s);
    QTRY_COMPARE_WITH_TIMEOUT(opened().value(2), drive, limit);
    QVERIFY(openWeb());
    QTRY_COMPARE_WITH_TIMEOUT(opened().size(), 4, limit);
    QVERIFY(press(u"Open Drive"_s));
    QTRY_COMPARE_WITH_TIMEOUT(opened().value(4), drive, limit);
    QCOMPARE(focused(), QString());
    for (const QString &next :
         {u"See your files on Google Drive"_s, u"Open Drive"_s, u"Eject"_s, u"Settings"_s, u"Quit"_s}) {
        m_desktop.press(u"Tab"_s);
        QTRY_COMPARE(focused(), next);
    }
    takePicture(u"focus"_s);
    m_desktop.press(u"ctrl+comma"_s);
    QVERIFY(shows({u"Quillmount Settings"_s}));
    m_desktop.press(u"Escape"_s);
    QVERIFY(showsNothing());
    QVERIFY(clickIcon());
    QVERIFY(press(u"Settings"_s));
    QVERIFY(shows({u"Quillmount Settings"_s}));
    m_desktop.press(u"Escape"_s);
    QVERIFY(clickIcon());
    QVERIFY(shows({allThere}));
    m_desktop.press(u"Escape"_s);
    QVERIFY(showsNothing());
}

void PanelTest::worksWithoutABar() {
    m_desktop.setBar(Desktop::Bar::missing);
    addFleetingAccount();
    m_application->start();
    QVERIFY(shows({allThere}));
    m_desktop.press(u"Escape"_s);
    QVERIFY(showsNothing());
    m_application->signal(SIGTERM);
    QCOMPARE(m_application->end(), 0);

    m_application->start({u"--background"_s});
    QVERIFY(m_application->comesTo(u"live"_s));
    m_notifications.titles.clear();
    QVERIFY(revokeGrant());
    QVERIFY(m_application->comesTo(u"failed(needsReconnect)"_s, 40));
    QTRY_COMPARE(m_notifications.titles, QStringList(u"Reconnect your Google account"_s));
    QVERIFY(items().isEmpty());
    const auto startAgain = [this](const QStringList &arguments) {
        QProcess second;
        second.setProcessEnvironment(m_application->environment);
        second.start(m_application->command.first(), arguments);
        return second.waitForFinished() && second.exitCode() == 0;
    };
    QVERIFY(startAgain({u"--background"_s}));
    QVERIFY(items().isEmpty());
    QVERIFY(startAgain({}));
    QVERIFY(shows({u"Reconnect your Google account"_s}));
    QCOMPARE(m_notifications.titles.size(), 1);
    // As the desktop's menu of the application does.
    QVERIFY(startAgain({u"--settings"_s}));
    QVERIFY(shows({u"Quillmount Settings"_s}));
    QVERIFY(startAgain({u"--quit"_s}));
    QVERIFY(shows({u"1 file still uploading"_s}));
    // A signal does not wait for the answer.
    m_application->signal(SIGTERM);
    QCOMPARE(m_application->end(), 0);

    // The bar comes late, and comes again.
    m_home->addAccount();
    m_application->start({u"--background"_s});
    QVERIFY(m_application->comesTo(u"live"_s));
    for (int i = 0; i < 2; ++i) {
        m_desktop.setBar(Desktop::Bar::missing);
        m_desktop.setBar(Desktop::Bar::there);
        forgetIcon();
        QVERIFY(clickIcon());
        QVERIFY(shows({allThere}));
        m_desktop.press(u"Escape"_s);
        QVERIFY(showsNothing());
    }
}

void PanelTest::worksWithoutABus() {
    for (const QString &name : {u"DBUS_SESSION_BUS_ADDRESS"_s, u"XDG_RUNTIME_DIR"_s})
        m_application->environment.remove(name);
    m_home->addAccount();
    m_application->start();
    QVERIFY(m_application->comesTo(u"live"_s));
    // Without a bus nobody reads the window; it is there when it takes a key.
    const auto quits = [this] {
        m_desktop.press(u"ctrl+q"_s);
        return !m_application->isRunning();
    };
    QTRY_VERIFY_WITH_TIMEOUT(quits(), limit);
    QCOMPARE(m_application->end(), 0);
    QVERIFY(m_home->isQuiet());
}

void PanelTest::isOffline() {
    QVERIFY2(m_hasOwnNetwork, "This test needs a network of its own, which only root may have.");
    QVERIFY(openLive());
    QVERIFY(run(u"ip"_s, {u"route"_s, u"delete"_s, u"default"_s}));
    QVERIFY(shows({u"Status: Offline"_s, u"You're offline"_s,
                   u"Recent files still open. New changes upload when you're back online."_s}));
    takePicture(u"offline"_s);
    m_home->stallUploads();
    QVERIFY(m_home->save(u"file.bin"_s, "saved"));
    QVERIFY(shows({u"1 file are saved on this Mac and will upload when you're back online."_s}));
    m_home->google.clearFaults();
    QVERIFY(run(u"ip"_s, {u"route"_s, u"add"_s, u"default"_s, u"dev"_s, u"lo"_s}));
    QVERIFY(shows({u"Status: Connected"_s, allThere}));
    QCOMPARE(m_home->onGoogle(u"file.bin"_s), "saved");
}

void PanelTest::hasNoOtherButtons() {
    QCOMPARE(buttonsNotPressed(), QStringList());
}

int main(int argc, char *argv[]) {
    // Of its own, so that it can be offline.
    const bool hasOwnNetwork = ::unshare(CLONE_NEWNET) == 0 && run(u"ip"_s, {u"link"_s, u"set"_s, u"lo"_s, u"up"_s}) &&
                               run(u"ip"_s, {u"route"_s, u"add"_s, u"default"_s, u"dev"_s, u"lo"_s});
    const QGuiApplication application(argc, argv);
    Desktop desktop;
    PanelTest test(desktop, hasOwnNetwork);
    return QTest::qExec(&test, argc, argv);
}
#include "PanelTest.moc"
