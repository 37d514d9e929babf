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
    QTest::newRow("agreed, light") << false << agree << u"You're connected"_s << u"rgb(0, 135, 90)"_s;
    QTest::newRow("refused, dark") << true << refuse << u"Sign-in didn't finish"_s << u"rgb(200, 30, 51)"_s;
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
    // What the browser makes of the page's style, in the order of the places.
    const QString places = u"body,header,header i,.track,.dot,.dot border,.dot.end border"_s;
    const QString ink = isDark ? u"rgb(244, 245, 246)"_s : u"rgb(17, 18, 20)"_s;
    const QString paper = isDark ? u"rgb(22, 23, 26)"_s : u"rgb(246, 247, 248)"_s;
    const QStringList expected{paper, u"rgb(17, 18, 20)"_s, line, line, paper, ink, line};
    const QString colors = u"'%1'.split(',').map(place => { const [element, border] = place.split(' border');"
                           "const style = getComputedStyle(document.querySelector(element));"
                           "return border == null ? style.backgroundColor : style.borderLeftColor; }).join('|')"_s;
    QCOMPARE(browser.evaluate(colors.arg(places)).toString().split(u'|'), expected);

    if (isConnected)
        QVERIFY(application.comesTo(u"live"_s));
    else
        QTRY_VERIFY(application.output().startsWith("Google access wasn't granted."));
}

QTEST_GUILESS_MAIN(SignInInBrowserTest)
#include "SignInInBrowserTest.moc"
