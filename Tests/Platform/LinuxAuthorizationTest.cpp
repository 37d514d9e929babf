// SPDX-License-Identifier: LicenseRef-Quillmount
#include "Platform/Linux/LinuxAuthorization.h"
#include "Platform/Testing/ManualClock.h"
#include "Tests/Support/Started.h"
#include "Tests/Support/WaitFor.h"

#include <QTemporaryDir>
#include <QtTest>

#include <csignal>

using namespace quillmount;
using namespace std::chrono_literals;
using namespace Qt::StringLiterals;

using Result = Authorization::Outcome;

// A shell script stands where polkit's program stands.
class LinuxAuthorizationTest : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void outcomes_data();
    void outcomes();
    void withoutPolkit();
    void takesBackTheQuestion();
};

namespace {
// It waits for the file, is handed the verb, and ends as the code says.
LinuxAuthorization asking(ManualClock &clock, const QString &file, const QString &code) {
    const QString wait = u"while [ ! -e \"$0\" ]; do sleep 0.01; done; "_s;
    return {clock, {u"/bin/sh"_s, u"-c"_s, wait + code, file}};
}
} // namespace

void LinuxAuthorizationTest::outcomes_data() {
    QTest::addColumn<QString>("code");
    QTest::addColumn<int>("seconds");
    QTest::addColumn<Result>("outcome");
    QTest::newRow("done") << u"[ \"$*\" = uninstall ]"_s << 60 << Result::completed;
    QTest::newRow("failed") << u"echo no >&2; exit 1"_s << 60 << Result::failed;
    QTest::newRow("dismissed at once") << u"exit 126"_s << 0 << Result::declined;
    QTest::newRow("no agent") << u"exit 127"_s << 0 << Result::notAsked;
    QTest::newRow("a wrong password") << u"exit 127"_s << 2 << Result::declined;
    QTest::newRow("more output than anybody wants") << u"head -c 1000000 /dev/zero >&2"_s << 0 << Result::completed;
    QTest::newRow("a child holds the output") << u"sleep 600 & echo $! >\"$0\""_s << 0 << Result::completed;
}

void LinuxAuthorizationTest::outcomes() {
    QFETCH(QString, code);
    QFETCH(int, seconds);
    const QTemporaryDir folder;
    const QString file = folder.path() + u"/go"_s;
    ManualClock clock;
    LinuxAuthorization authorization = asking(clock, file, code);
    const auto outcome = started(authorization.run(Authorization::Verb::uninstall));
    const auto second = started(authorization.run(Authorization::Verb::install));
    QCOMPARE(second->value, std::optional(Result::failed));
    clock.advance(std::chrono::seconds(seconds));
    QFile go(file);
    QVERIFY(!outcome->isDone && go.open(QIODevice::ReadWrite));
    QVERIFY(waitFor([&] { return outcome->isDone; }));
    QTEST(*outcome->value, "outcome");
    if (const int child = go.readAll().toInt())
        QCOMPARE(::kill(child, SIGKILL), 0);
}

void LinuxAuthorizationTest::withoutPolkit() {
    ManualClock clock;
    LinuxAuthorization authorization(clock, {u"/nowhere/pkexec"_s});
    const auto outcome = started(authorization.run(Authorization::Verb::install));
    QVERIFY(waitFor([&] { return outcome->isDone; }));
    QCOMPARE(*outcome->value, Result::notAsked);
}

void LinuxAuthorizationTest::takesBackTheQuestion() {
    const QTemporaryDir folder;
    ManualClock clock;
    LinuxAuthorization authorization = asking(clock, folder.path() + u"/go"_s, u"exit 0"_s);
    const auto outcome = started(authorization.run(Authorization::Verb::install));
    clock.advance(10min);
    authorization.cancel();
    QVERIFY(waitFor([&] { return outcome->isDone; }));
    QCOMPARE(*outcome->value, Result::declined);
}

QTEST_GUILESS_MAIN(LinuxAuthorizationTest)
#include "LinuxAuthorizationTest.moc"
