// SPDX-License-Identifier: LicenseRef-Quillmount
#include "Tests/Support/MountedEngine.h"

#include <QDir>
#include <QFile>
#include <QProcess>
#include <QTest>

#include <unistd.h>

#include <csignal>

using namespace quillmount;
using namespace Qt::StringLiterals;

namespace {

constexpr int manyFiles = 20'000;

QString manyName(int index) {
    return u"file-%1"_s.arg(index, 5, 10, QChar(u'0'));
}

} // namespace

// What people and their programs do with a drive, on one mount, each in a folder of its own.
class EverydayTest : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void init();
    void keepsAGitRepository();
    void keepsADatabase();
    void listsManyFiles();
    void cleanupTestCase();

private:
    // Runs a command in the test's folder on the mount; its output, or a text that begins with "failed".
    QString run(const QString &program, const QStringList &arguments);

    MountedEngine m_drive;
    QString m_folder;
};

void EverydayTest::initTestCase() {
    // There before the engine looks: making so many through the mount would take most of the test's time.
    const QString many = m_drive.backend() + u"/many/"_s;
    QVERIFY(QDir().mkpath(many));
    for (int i = 0; i < manyFiles; ++i) {
        QFile file(many + manyName(i));
        QVERIFY(file.open(QIODevice::WriteOnly) && file.write("x") == 1);
    }
    QVERIFY(m_drive.startEngine() && m_drive.mount() == 0);
}

void EverydayTest::init() {
    m_folder = m_drive.mountPoint() + u'/' + QString::fromLatin1(QTest::currentTestFunction());
    QVERIFY(QDir().mkpath(m_folder));
}

QString EverydayTest::run(const QString &program, const QStringList &arguments) {
    QProcess process;
    process.setWorkingDirectory(m_folder);
    process.setProcessChannelMode(QProcess::MergedChannels);
    process.setChildProcessModifier([] { setsid(); });
    process.start(program, arguments);
    const auto group = static_cast<pid_t>(process.processId());
    const bool ended = process.waitForFinished(60'000);
    // What a command leaves behind, above all one that was given up, would hold the mount.
    if (group > 0)
        ::kill(-group, SIGKILL);
    const QString output = QString::fromLocal8Bit(process.readAll());
    return ended && process.exitStatus() == QProcess::NormalExit && process.exitCode() == 0 ? output
                                                                                            : u"failed: "_s + output;
}

void EverydayTest::keepsAGitRepository() {
    const QString origin = m_drive.local() + u"/origin"_s;
    const QString script = uR"(
        set -e
        # Nothing that goes on in the background and would hold the mount.
        export GIT_CONFIG_COUNT=2 GIT_CONFIG_KEY_0=gc.auto GIT_CONFIG_VALUE_0=0
        export GIT_CONFIG_KEY_1=maintenance.auto GIT_CONFIG_VALUE_1=false
        export GIT_CONFIG_GLOBAL=/dev/null GIT_AUTHOR_NAME=A GIT_AUTHOR_EMAIL=a@example.org
        export GIT_COMMITTER_NAME=A GIT_COMMITTER_EMAIL=a@example.org
        git init -q "$1"; cd "$1"
        for i in $(seq 60); do mkdir -p d$((i % 7)); seq $i $((i * 20)) > d$((i % 7))/f$i; done
        git add .; git commit -q -m one; git mv d1 moved; git commit -q -m two
        cd "$2"; git clone -q "$1" clone; cd clone; git status --porcelain
        echo more >> d2/f2; git commit -q -a -m three; git gc -q; git fsck --strict --no-progress
        git checkout -q HEAD~2; git status --porcelain; git log --oneline --all | wc -l
    )"_s;
    QCOMPARE(run(u"bash"_s, {u"-c"_s, script, u"script"_s, origin, m_folder}).trimmed(), u"3"_s);
}

void EverydayTest::keepsADatabase() {
    const QString script = uR"(
        CREATE TABLE t (id INTEGER PRIMARY KEY, text TEXT);
        BEGIN;
        WITH RECURSIVE n(i) AS (SELECT 1 UNION ALL SELECT i + 1 FROM n WHERE i < 5000)
            INSERT INTO t SELECT i, hex(randomblob(100)) FROM n;
        COMMIT;
        UPDATE t SET text = 'changed' WHERE id % 3 = 0;
        BEGIN; DELETE FROM t WHERE id % 5 = 0; ROLLBACK;
        DELETE FROM t WHERE id > 2500;
        VACUUM;
        PRAGMA integrity_check;
        SELECT count(*), sum(text = 'changed') FROM t;
    )"_s;
    QCOMPARE(run(u"sqlite3"_s, {u"data.db"_s, script}).trimmed(), u"ok\n2500|833"_s);
    QCOMPARE(run(u"sqlite3"_s, {u"data.db"_s, u"PRAGMA integrity_check; SELECT count(*) FROM t"_s}).trimmed(),
             u"ok\n2500"_s);
    QCOMPARE(QDir(m_folder).entryList(QDir::Files), QStringList{u"data.db"_s});
}

void EverydayTest::listsManyFiles() {
    const QStringList names = QDir(m_drive.mountPoint() + u"/many"_s).entryList(QDir::Files, QDir::Name);
    QCOMPARE(names.size(), manyFiles);
    for (int i = 0; i < manyFiles; ++i)
        QCOMPARE(names.at(i), manyName(i));
    const QString script = uR"(ls -l "$1" | awk 'NR > 1 && $5 == 1' | wc -l)"_s;
    QCOMPARE(run(u"bash"_s, {u"-c"_s, script, u"script"_s, m_drive.mountPoint() + u"/many"_s}).trimmed(),
             QString::number(manyFiles));
}

void EverydayTest::cleanupTestCase() {
    // Everything was answered, so nothing holds the mount.
    QVERIFY(m_drive.unmount());
    QVERIFY(!MountedEngine::isMounted(m_drive.mountPoint()));
}

QTEST_GUILESS_MAIN(EverydayTest)
#include "EverydayTest.moc"
