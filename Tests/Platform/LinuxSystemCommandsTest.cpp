// SPDX-License-Identifier: LicenseRef-Quillmount
#include "Platform/Linux/LinuxSystemCommands.h"
#include "Platform/MacSystemCommands.h"
#include "Tests/Support/TestFiles.h"

#include <QDir>
#include <QFile>
#include <QProcess>
#include <QTemporaryDir>
#include <QTest>

#include <csignal>
#include <sys/stat.h>

using namespace quillmount;
using namespace Qt::StringLiterals;

namespace {

const QString waitingProgram = QStringLiteral(WAITING_PROGRAM);

// The waiting program under some name and with some arguments. None outlives the test.
class Waiter {
public:
    Waiter(const QString &program, const QStringList &arguments) {
        m_process.start(program, arguments);
        m_started = m_process.waitForReadyRead(10'000) && m_process.readAll().trimmed().toLongLong() == pid();
    }
    ~Waiter() {
        m_process.closeWriteChannel();
        m_process.waitForFinished();
    }

    [[nodiscard]] bool started() const { return m_started; }
    [[nodiscard]] qint64 pid() const { return m_process.processId(); }
    [[nodiscard]] bool endsBy(int signal) {
        return m_process.waitForFinished(10'000) && m_process.exitCode() == signal;
    }
    [[nodiscard]] bool runs() { return !m_process.waitForFinished(0) && m_process.state() == QProcess::Running; }

private:
    QProcess m_process;
    bool m_started = false;
};

struct Result {
    int status = 0;
    QString output;
};

Result run(const Command &command, const QString &locale = {}) {
    QProcess process;
    if (!locale.isEmpty()) {
        QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
        environment.insert(u"LC_ALL"_s, locale);
        process.setProcessEnvironment(environment);
    }
    process.start(command.executable, command.arguments);
    process.waitForFinished();
    return {process.exitStatus() == QProcess::NormalExit ? process.exitCode() : -1,
            QString::fromUtf8(process.readAllStandardOutput()).trimmed()};
}

} // namespace

class LinuxSystemCommandsTest : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void init();
    void mountsThroughTheMountProgram();
    void findsItsOwnEnginesAlone_data();
    void findsItsOwnEnginesAlone();
    void endsItsOwnMountServerAlone();
    void endsWhatTakesTooLongAndSparesWhatWentAway();

private:
    QString waiterAs(const QString &path) const;

    std::unique_ptr<QTemporaryDir> m_root;
    QString m_folder;
};

void LinuxSystemCommandsTest::init() {
    m_root = std::make_unique<QTemporaryDir>();
    m_folder = m_root->path();
}

// A copy of the waiting program.
QString LinuxSystemCommandsTest::waiterAs(const QString &path) const {
    const QString whole = m_folder + u'/' + path;
    QDir().mkpath(QFileInfo(whole).path());
    QFile::copy(waitingProgram, whole);
    return whole;
}

void LinuxSystemCommandsTest::mountsThroughTheMountProgram() {
    const QString program = putProgram(m_folder + u"/quillmount-mount"_s, "printf '%s\\n' \"$@\"\nexit 32");
    const Result result = run(LinuxSystemCommands(program).mount(4711, u"quillmount.localhost"_s, u"/home/a b/$Q"_s));
    QCOMPARE(result.output, u"-o\nport=4711,mountport=4711,tcp,vers=3,locallocks,nodev,nosuid,deadtimeout=30\n"
                            "quillmount.localhost:/\n/home/a b/$Q"_s);
    QCOMPARE(result.status, 32);
    QCOMPARE(run(LinuxSystemCommands(m_folder + u"/missing"_s).mount(1, u"x"_s, u"/y"_s)).status, 127);
}

void LinuxSystemCommandsTest::findsItsOwnEnginesAlone_data() {
    QTest::addColumn<QString>("folder");
    QTest::addColumn<QString>("locale");
    const QString signs = u"a+b (c)[d]{2,3}|e^f$g.h*i?j\\k  l'm\"n"_s;
    QTest::newRow("plain") << u"opt"_s << u"C.UTF-8"_s;
    QTest::newRow("signs") << signs << u"C.UTF-8"_s;
    QTest::newRow("letters") << u"\u00fcber \u65e5\u672c \U0001F58B e\u0301 \u00ad\ue000"_s << u"C.UTF-8"_s;
    QTest::newRow("letters in the C locale") << u"\u00fcber"_s << u"C"_s;
    QTest::newRow("control characters") << u"a\tb\nc\x01"_s << u"C.UTF-8"_s;
    QTest::newRow("long") << QStringList(16, QString(200, u'n')).join(u'/') << u"C.UTF-8"_s;
}

void LinuxSystemCommandsTest::findsItsOwnEnginesAlone() {
    QFETCH(QString, folder);
    QFETCH(QString, locale);
    const auto arguments = [](const QString &configuration) {
        return QStringList{u"serve"_s,    u"nfs"_s,      u"drive:Quillmount"_s, u"--addr"_s,     u"127.0.0.1:1"_s,
                           u"--config"_s, configuration, u"--cache-dir"_s,      u"/x y/cache"_s, u"--rc"_s};
    };
    const QString engine = waiterAs(folder + u"/QuillmountEngine"_s);
    const QString configuration = m_folder + u"/h\u00f6me "_s + folder + u"/engine.conf"_s;
    QString otherConfiguration = configuration;
    otherConfiguration.replace(u'\u00f6', u'\u00f3');
    const LinuxSystemCommands commands(m_folder + u"/quillmount-mount"_s);
    const EngineIdentity identity{engine, configuration};

    Waiter otherHome(engine, arguments(otherConfiguration));
    Waiter longerName(engine, arguments(configuration + u"2"_s));
    Waiter otherProgram(waiterAs(u"x/"_s + folder + u"/Engine"_s), arguments(configuration));
    Waiter naming(u"/bin/sh"_s,
                  {u"-c"_s, u"echo $$; read -r line"_s, engine + u' ' + arguments(configuration).join(u' '), engine});
    QVERIFY(otherHome.started() && longerName.started() && otherProgram.started() && naming.started());
    QCOMPARE(run(commands.findEngines(identity), locale).status, 1);
    const QList<Command> end = commands.endEngines(identity);
    for (const Command &command : end)
        QCOMPARE(run(command, locale).status, 1);

    Waiter own(engine, arguments(configuration));
    // Of an update, or another checkout: it works on the same cache.
    Waiter elsewhere(waiterAs(u"else where/QuillmountEngine"_s), arguments(configuration));
    QVERIFY(own.started() && elsewhere.started());
    const Result found = run(commands.findEngines(identity), locale);
    QCOMPARE(found.output.split(u'\n').size(), 2);
    QCOMPARE(found.status, 0);
    QCOMPARE(run(end.first(), locale).status, 0);
    QVERIFY(own.endsBy(SIGTERM) && elsewhere.endsBy(SIGTERM));
    QVERIFY(otherHome.runs() && longerName.runs() && otherProgram.runs() && naming.runs());
}

void LinuxSystemCommandsTest::endsItsOwnMountServerAlone() {
    const QString program = waiterAs(u"a+b (c)/quillmount-mount"_s);
    const QString point = m_folder + u"/Quill [mount]"_s;
    const LinuxSystemCommands commands(program);
    const QString options = nfsMountOptions(4711);
    const auto arguments = [&](const QString &mountPoint) {
        return QStringList{u"-o"_s, options, u"quillmount.localhost:/"_s, mountPoint};
    };
    Waiter below(program, arguments(point + u"/below"_s));
    Waiter above(program, arguments(m_folder));
    QVERIFY(below.started() && above.started());
    const QList<Command> asked = commands.endMountServer(point);
    const QList<Command> forced = commands.forcedUnmount(point);
    QCOMPARE(asked.size(), 2);
    QCOMPARE(forced.size(), 2);
    {
        Waiter own(program, arguments(point));
        QVERIFY(own.started());
        QCOMPARE(run(asked[0]).status, 0);
        QVERIFY(own.endsBy(SIGTERM));
        QCOMPARE(run(asked[1]).status, 1); // there is nothing to wait for any more
    }
    Waiter own(program, arguments(point));
    QVERIFY(own.started());
    // Nothing is mounted there; the second command does not depend on the first.
    QVERIFY(run(forced[0]).status > 0);
    QVERIFY(own.runs());
    QCOMPARE(run(forced[1]).status, 0);
    QVERIFY(own.endsBy(SIGKILL));
    QVERIFY(below.runs() && above.runs());
    QVERIFY(run(commands.unmount(point)).status > 0);
}

void LinuxSystemCommandsTest::endsWhatTakesTooLongAndSparesWhatWentAway() {
    const QByteArray input = QFile::encodeName(m_folder + u"/input"_s);
    QCOMPARE(::mkfifo(input.constData(), 0600), 0);
    // Held open here: both programs end when this test does.
    QFile held(m_folder + u"/input"_s);
    QVERIFY(held.open(QIODevice::ReadWrite | QIODevice::Unbuffered));
    const QString program =
        putProgram(m_folder + u"/quillmount-mount"_s, u"cd '%1'; setsid '%2' < input > server &\n"
                                                      "'%2' < input > hanging"_s.arg(m_folder, waitingProgram)
                                                          .toUtf8());
    Command command = LinuxSystemCommands(program).mount(4711, u"quillmount.localhost"_s, u"/x"_s);
    QCOMPARE(command.arguments.at(1), u"20"_s);
    command.arguments[1] = u"1"_s;
    QVERIFY(run(command).status != 0);

    const auto commandLine = [this](const QString &name) {
        const QByteArray number = contentOf(m_folder + u'/' + name).trimmed();
        return contentOf(u"/proc/%1/cmdline"_s.arg(QString::fromLatin1(number)));
    };
    QTRY_COMPARE(commandLine(u"hanging"_s), QByteArray("(no such file)"));
    QCOMPARE(commandLine(u"server"_s), waitingProgram.toUtf8() + '\0');
}

QTEST_GUILESS_MAIN(LinuxSystemCommandsTest)
#include "LinuxSystemCommandsTest.moc"
