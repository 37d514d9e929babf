// SPDX-License-Identifier: LicenseRef-Quillmount
// The sign-in in a real browser, and what that makes of the page at its end.
#include "Tests/EndToEnd/Application.h"
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
    QTest::addColumn<QString>("answer");
    QTest::addColumn<QByteArray>("option");
    QTest::addColumn<QString>("text");
    QTest::addColumn<QString>("colors"); // of the page, the header, its dot, the line, the two stations
    QTest::newRow("agreed, light") << u"agree"_s << QByteArray()
                                   << u"Quillmount MAC DRIVE You're connected Your drive is connecting now. You can "
                                      "close this tab and go back to Quillmount."_s
                                   << u"rgb(246, 247, 248)|rgb(17, 18, 20)|rgb(0, 135, 90)|rgb(0, 135, 90)|"
                                      "rgb(246, 247, 248)|rgb(17, 18, 20)|rgb(0, 135, 90)"_s;
    QTest::newRow("refused, dark") << u"refuse"_s << "--force-dark-mode"_ba
                                   << u"Quillmount MAC STOPPED Sign-in didn't finish Quillmount needs permission to "
                                      "use its own folder in your Drive. Go back to Quillmount, click Try Again, and "
                                      "leave the Google Drive box ticked."_s
                                   << u"rgb(22, 23, 26)|rgb(17, 18, 20)|rgb(200, 30, 51)|rgb(200, 30, 51)|"
                                      "rgb(22, 23, 26)|rgb(244, 245, 246)|rgb(200, 30, 51)"_s;
}

void SignInInBrowserTest::endsOnItsPage() {
    QFETCH(QString, answer);
    QFETCH(QByteArray, option);
    QFETCH(QString, text);
    QFETCH(QString, colors);
    SignInHome home;
    home.google.answerThePage(answer);
    // Shows the page in which the sign-in ends once more, with a script that makes its look the title.
    home.setBrowser(
        "browse() { HOME=\"$HOME/browser\" chromium --headless --no-sandbox --disable-gpu --no-proxy-server " + option +
        R"( --dump-dom "$1"; }
{ browse "$1"; cat <<'END'
<script>document.title = document.body.innerText.replace(/\s+/g, ' ').trim() + '|' +
'body,header,header i,.track,.dot,.dot border,.dot.end border'.split(',').map(place => {
  const [element, border] = place.split(' border'), style = getComputedStyle(document.querySelector(element));
  return border == null ? style.backgroundColor : style.borderLeftColor; }).join('|')</script>
END
} >"$HOME/page.html"
browse "$HOME/page.html" >"$HOME/look.new"; mv "$HOME/look.new" "$HOME/look")");
    Application application(home);
    home.prepare(application);
    application.start({u"--sign-in"_s});
    QTRY_VERIFY_WITH_TIMEOUT(!home.read(u"look"_s).isEmpty(), 60'000);
    const QString look = QString::fromUtf8(home.read(u"look"_s));
    QCOMPARE(look.section(u"<title>"_s, 1, 1).section(u"</title>"_s, 0, 0), text + u'|' + colors);
    if (answer == "agree"_L1)
        QVERIFY(application.comesTo(u"live"_s));
    else
        QTRY_VERIFY(application.output().startsWith("Google access wasn't granted."));
}

QTEST_GUILESS_MAIN(SignInInBrowserTest)
#include "SignInInBrowserTest.moc"
