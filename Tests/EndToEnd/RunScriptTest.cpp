// SPDX-License-Identifier: LicenseRef-Quillmount
// "make run" as a newcomer uses it, again and again in one home, ended in every way.
#include "Tests/EndToEnd/Application.h"
#include "Tests/EndToEnd/TestHome.h"
#include "Tests/Support/Machine.h"

#include <QDir>
#include <QFile>
#include <QTest>

#include <algorithm>
#include <csignal>

using namespace quillmount;
using namespace Qt::StringLiterals;

namespace {

// The rest of the line that begins with `label`; empty while there is none.
QString told(const Application &run, const QByteArray &label) {
    const QByteArrayList lines = run.output().split('\n');
    for (const QByteArray &line : lines)
        if (line.startsWith(label))
            return QString::fromUtf8(line.mid(label.size()).trimmed());
    return {};
}

class MakeRun : public Application {
public:
    enum Place { onTerminal, inBackground };

    MakeRun(TestHome &home, Place place)
        : Application(home) {
        // Everything that would make it find another way than a newcomer's; the packages and the engine are there.
        for (const QString &name : {u"HTTPS_PROXY"_s, u"SSL_CERT_FILE"_s, u"QT_QPA_PLATFORM"_s, u"MAKEFLAGS"_s})
            environment.remove(name);
        const QString caches = qEnvironmentVariable("XDG_CACHE_HOME", QDir::homePath() + u"/.cache"_s);
        environment.insert(u"XDG_CACHE_HOME"_s, caches);
        const QString make = u"exec make -C '" QUILLMOUNT_SOURCE_DIR "' run"_s;
        command = place == onTerminal ? QStringList{u"/usr/bin/script"_s, u"-qefc"_s, make, u"/dev/null"_s}
                                      : QStringList{u"/bin/sh"_s, u"-c"_s, make};
        start();
    }

    [[nodiscard]] bool becomesLive() {
        // The build, which is up to date but has to find that out, comes first.
        return QTest::qWaitFor([this] { return !told(*this, "Local Google: ").isEmpty(); }, 120'000);
    }
};

} // namespace

class RunScriptTest : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void runsAgainAfterEveryEnd();

private:
    // One of each, and no more.
    [[nodiscard]] static QByteArrayList programs(const TestHome &home);
};

QByteArrayList RunScriptTest::programs(const TestHome &home) {
    QByteArrayList names;
    const QList<ProcessInfo> processes = home.processes();
    for (const ProcessInfo &process : processes) {
        for (const QByteArray &name :
             {"google-stand-in"_ba, "quillmount"_ba, "QuillmountEngine"_ba, "quillmount-mount"_ba})
            if (process.program() == name)
                names.append(name);
    }
    std::ranges::sort(names);
    return names;
}

void RunScriptTest::initTestCase() {
    const QString missing = Machine::lacksTerminals();
    QVERIFY2(missing.isEmpty(), qPrintable(missing));
}

void RunScriptTest::runsAgainAfterEveryEnd() {
    const QByteArrayList oneOfEach{"QuillmountEngine", "google-stand-in", "quillmount", "quillmount-mount"};
    TestHome home;
    QString google;
    {
        MakeRun run(home, MakeRun::onTerminal);
        QVERIFY(run.becomesLive());
        QCOMPARE(told(run, "Drive: "), home.mountPoint());
        // What stands in for the browser is for the local Google's pages; other addresses are shown.
        const QString opener = home.path() + u"/.local/state/Quillmount/run/bin/xdg-open"_s;
        QCOMPARE(QProcess::execute(opener, {u"https://example.org/page"_s}), 0);
        QTRY_VERIFY(run.output().contains("open this address elsewhere: https://example.org/page"));
        google = told(run, "Local Google: ") + u"/Quillmount/letter.txt"_s;
        QVERIFY(home.save(u"letter.txt"_s, "Dear Google"));
        QTRY_VERIFY_WITH_TIMEOUT(QFile::exists(google), 20'000);
        run.type("\x03");
        QVERIFY(run.end() >= 0);
        QVERIFY(home.isQuiet());
    }
    {
        // A second one does not disturb the first.
        MakeRun run(home, MakeRun::inBackground);
        QVERIFY(run.becomesLive());
        MakeRun second(home, MakeRun::inBackground);
        QCOMPARE(second.end(120), 0);
        QVERIFY(second.output().contains("Quillmount is already running for this home."));
        QCOMPARE(programs(home), oneOfEach);
        QCOMPARE(home.load(u"letter.txt"_s), QByteArray("Dear Google"));
        ::kill(home.application(), SIGKILL);
        QVERIFY(run.end() > 0);
    }
    {
        // The application was killed; now everything else that would tidy up is.
        MakeRun run(home, MakeRun::inBackground);
        QVERIFY(run.becomesLive());
        QCOMPARE(programs(home), oneOfEach);
        QCOMPARE(home.load(u"letter.txt"_s), QByteArray("Dear Google"));
        QVERIFY(home.save(u"late.txt"_s, "not uploaded yet"));
        ::kill(home.processNamed("make"), SIGKILL);
        ::kill(home.processWith("Scripts/run"), SIGKILL);
        QTRY_VERIFY(!run.isRunning());
    }
    MakeRun run(home, MakeRun::inBackground);
    QVERIFY(run.becomesLive());
    QCOMPARE(programs(home), oneOfEach);
    QCOMPARE(home.load(u"late.txt"_s), QByteArray("not uploaded yet"));
    ::kill(home.application(), SIGTERM);
    QCOMPARE(run.end(), 0);
    QVERIFY(home.isQuiet());
}

QTEST_GUILESS_MAIN(RunScriptTest)
#include "RunScriptTest.moc"
