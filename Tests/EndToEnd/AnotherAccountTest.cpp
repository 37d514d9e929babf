// SPDX-License-Identifier: LicenseRef-Quillmount
// A sign-in to another account than the drive's, whose files still wait for their upload.
#include "App/AccountConnection.h"
#include "App/Support/Preferences.h"
#include "Platform/Platform.h"
#include "Platform/Testing/MemoryWorkspace.h"
#include "Tests/EndToEnd/DriveInHome.h"
#include "Tests/EndToEnd/TestHome.h"

#include <QFile>
#include <QProcess>
#include <QTest>

using namespace quillmount;
using namespace Qt::StringLiterals;

using State = AccountConnection::State;

class AnotherAccountTest : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void getsNothingOfTheFormer();
};

void AnotherAccountTest::getsNothingOfTheFormer() {
    TestHome home;
    DriveInHome drive(home);
    home.google.answerThePage(u"agree"_s);
    auto &workspace = *new MemoryWorkspace;
    Platform::current().workspace.reset(&workspace);
    AccountConnection account(drive.engine());
    const auto signIn = [&] {
        account.start();
        QProcess browser;
        browser.start(u"curl"_s, {u"--silent"_s, u"--noproxy"_s, u"*"_s, u"--location"_s, u"--output"_s, u"/dev/null"_s,
                                  u"--"_s, QString::fromLatin1(workspace.opened().last().toEncoded())});
        const bool ends = QTest::qWaitFor([&] { return !account.isRunning(); }, 20'000);
        browser.waitForFinished();
        return ends;
    };
    QVERIFY(signIn());
    QCOMPARE(account.state(), State::done);
    QVERIFY(drive.comesTo(DriveState::live));

    const int stalled = home.stallUploads();
    QVERIFY(home.save(u"letter"_s, "for the first account alone"));
    QTRY_VERIFY_WITH_TIMEOUT(home.hits(stalled) > 0, 20'000);
    QFile configuration(home.engineConfiguration());
    QVERIFY(configuration.open(QIODevice::ReadOnly));
    const QByteArray former = configuration.readAll();
    home.google.control("POST", u"/settings"_s, {{"account"_L1, "second.user@example.com"_L1}});
    QVERIFY(signIn());
    QCOMPARE(account.state(), State::failed);
    QVERIFY(account.errorText().contains(u"belongs to user@example.com"_s));
    QCOMPARE(Preferences::accountEmail(), std::optional(u"user@example.com"_s));
    configuration.seek(0);
    QCOMPARE(configuration.readAll(), former);
    QCOMPARE(drive.engine().state(), DriveState(DriveState::live));

    home.google.clearFaults();
    QTRY_VERIFY_WITH_TIMEOUT(home.onGoogle(u"letter"_s).has_value(), 30'000);
}

QTEST_GUILESS_MAIN(AnotherAccountTest)
#include "AnotherAccountTest.moc"
