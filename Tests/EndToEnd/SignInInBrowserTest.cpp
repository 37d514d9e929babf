// SPDX-License-Identifier: LicenseRef-Quillmount
// The sign-in in a real browser: the local Google's page answered on the keyboard, and the page that comes after it.
#include "Tests/EndToEnd/Application.h"
#include "Tests/EndToEnd/Chromium.h"
#include "Tests/EndToEnd/SignInHome.h"

#include <QTest>

using namespace quillmount;
using namespace Qt::StringLiterals;

class SignInInBrowserTest : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void endsOnItsPage_data();
    void endsOnItsPage();
};

void SignInInBrowserTest::endsOnItsPage_data() {
    QTest::addColumn<bool>("isDark");
    QTest::addColumn<QStringList>("keys"); // on the page that asks
    QTest::addColumn<QString>("heading");
    QTest::addColumn<QString>("line");
    const QStringList agree{u"Tab"_s, u"Space"_s, u"Tab"_s, u"Tab"_s, u"Enter"_s};
    const QStringList refuse{u"Tab"_s, u"Tab"_s, u"Enter"_s};
    QTest::newRow("agreed, light") << false << agree << u"You're connected"_s << u"#00875a"_s;
    QTest::newRow("refused, dark") << true << refuse << u"Sign-in didn't finish"_s << u"#c81e33"_s;
}

void SignInInBrowserTest::endsOnItsPage() {
    QFETCH(bool, isDark);
    QFETCH(QStringList, keys);
    QFETCH(QString, heading);
    QFETCH(QString, line);
    SignInHome home;
    // The browser that the application opens only notes the address; the real one goes there.
    home.setBrowser(R"(printf %s "$1" >"$HOME/opened.new"; mv "$HOME/opened.new" "$HOME/opened")");
    Application application(home);
    home.prepare(application);
    application.start({u"--sign-in"_s});
    QTRY_VERIFY_WITH_TIMEOUT(!home.read(u"opened"_s).isEmpty(), 20'000);

    Chromium browser(isDark ? Chromium::Scheme::dark : Chromium::Scheme::light);
    const auto shows = [&](const QString &title) {
        return browser.evaluate(u"document.readyState == 'complete' ? document.querySelector('h1')?.innerText : ''"_s)
                   .toString() == title;
    };
    browser.open(QUrl(QString::fromLatin1(home.read(u"opened"_s))));
    QTRY_VERIFY_WITH_TIMEOUT(shows(u"An application wants to use your Google Account"_s), 20'000);
    browser.press(keys);
    QTRY_VERIFY_WITH_TIMEOUT(shows(heading), 20'000);

    const bool isConnected = heading == "You're connected"_L1;
    QCOMPARE(browser.evaluate(u"document.body.innerText.replace(/\\s+/g, ' ').trim()"_s).toString(),
             isConnected
                 ? u"Quillmount MAC DRIVE You're connected Your drive is connecting now. You can close this tab "
                   "and go back to Quillmount."_s
                 : u"Quillmount MAC STOPPED Sign-in didn't finish Quillmount needs permission to use its own "
                   "folder in your Drive. Go back to Quillmount, click Try Again, and leave the Google Drive "
                   "box ticked."_s);
    const QImage picture = browser.picture();
    const QColor ink(isDark ? 0xf4f5f6 : 0x111214);
    const QColor paper(isDark ? 0x16171a : 0xf6f7f8);
    QCOMPARE(picture.pixelColor(4, picture.height() - 4), paper);
    QCOMPARE(browser.colorOf(picture, u"header"_s, 4), QColor(0x111214));
    QCOMPARE(browser.colorOf(picture, u"header i"_s), QColor(line));
    QCOMPARE(browser.colorOf(picture, u".track"_s), QColor(line));
    QCOMPARE(browser.colorOf(picture, u".dot"_s), paper);
    QCOMPARE(browser.colorOf(picture, u".dot"_s, 2), ink);
    QCOMPARE(browser.colorOf(picture, u".dot.end"_s, 2), QColor(line));
    if (const QString folder = qEnvironmentVariable("QUILLMOUNT_PICTURES"); !folder.isEmpty())
        QVERIFY(picture.save(folder + u'/' + QString::fromLatin1(QTest::currentDataTag()) + u".png"_s));

    if (isConnected)
        QVERIFY(application.comesTo(u"live"_s));
    else
        QTRY_VERIFY(application.output().startsWith("Google access wasn't granted."));
}

QTEST_GUILESS_MAIN(SignInInBrowserTest)
#include "SignInInBrowserTest.moc"
