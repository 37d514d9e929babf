// SPDX-License-Identifier: LicenseRef-Quillmount
#include "Platform/Linux/LinuxWorkspace.h"
#include "Platform/Linux/CoreFiles.h"
#include "Tests/Support/TestFiles.h"
#include "Tests/Support/WaitFor.h"

#include <QTemporaryDir>
#include <QtTest>

#include <algorithm>
#include <sys/resource.h>
#include <sys/stat.h>

using namespace quillmount;
using namespace Qt::StringLiterals;

class LinuxWorkspaceTest : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void init();
    void cleanup();
    void opensTheEncodedAddress();
    void tellsOfFailures_data();
    void tellsOfFailures();
    void browsersAreLeftAlone();
    void tellsWhetherTheTrashHasIt();

private:
    void setOpener(const QByteArray &script) const {
        putProgram(m_folder->filePath(u"xdg-open"_s),
                   "PATH=/bin:/usr/bin\ncd '" + QFile::encodeName(m_folder->path()) + "'\n" + script);
    }
    [[nodiscard]] bool isThere(const QString &name) const { return QFile::exists(m_folder->filePath(name)); }

    std::unique_ptr<QTemporaryDir> m_folder;
    QByteArray m_path;
};

void LinuxWorkspaceTest::init() {
    m_folder = std::make_unique<QTemporaryDir>();
    m_path = qgetenv("PATH");
    qputenv("PATH", QFile::encodeName(m_folder->path()));
}

void LinuxWorkspaceTest::cleanup() {
    qputenv("PATH", m_path);
}

void LinuxWorkspaceTest::opensTheEncodedAddress() {
    rlimit limit = {};
    ::getrlimit(RLIMIT_CORE, &limit);
    const rlimit former = {limit.rlim_max, limit.rlim_max};
    ::setrlimit(RLIMIT_CORE, &former);
    disableCoreFiles();
    setOpener("echo noise; echo noise >&2\nprintf '%s\\n' \"$#\" \"$1\" \"$(ulimit -c)\" \"$(ulimit -Hc)\" >part\n"
              "mv part opened");
    const QByteArray address =
        "https://login.example/auth?scope=openid%20email&redirect_uri=http%3A%2F%2F127.0.0.1%3A1&x=%26";
    LinuxWorkspace().openURL(QUrl::fromEncoded(address), [] { QFAIL("it did open"); });
    QVERIFY(waitFor([&] { return isThere(u"opened"_s); }));
    const QByteArrayList lines = contentOf(m_folder->filePath(u"opened"_s)).split('\n');
    QCOMPARE(lines.mid(0, 2), QByteArrayList({"1", address}));
    QCOMPARE(lines[2], lines[3]); // the browser has its own limit on core files
    ::getrlimit(RLIMIT_CORE, &limit);
    QCOMPARE(limit.rlim_cur, std::min<rlim_t>(1, former.rlim_max)); // and the application its own
    QCOMPARE(limit.rlim_max, former.rlim_max);
}

void LinuxWorkspaceTest::tellsOfFailures_data() {
    QTest::addColumn<QByteArray>("script");
    QTest::newRow("not installed") << QByteArray();
    QTest::newRow("no browser") << QByteArray("exit 3");
    QTest::newRow("killed") << QByteArray("kill -KILL $$");
}

void LinuxWorkspaceTest::tellsOfFailures() {
    QFETCH(QByteArray, script);
    // A line with the address would fail the test.
    QTest::failOnWarning(QRegularExpression(u"secret"_s));
    if (!script.isEmpty())
        setOpener(script);
    int failures = 0;
    LinuxWorkspace().openURL(QUrl(u"https://login.example/?state=secret"_s), [&] { ++failures; });
    QCOMPARE(failures, 0); // never inside the call
    QVERIFY(waitFor([&] { return failures == 1; }));
}

void LinuxWorkspaceTest::browsersAreLeftAlone() {
    setOpener("echo >started\nread line <fifo\necho >ended");
    const QByteArray fifo = QFile::encodeName(m_folder->filePath(u"fifo"_s));
    QCOMPARE(::mkfifo(fifo.constData(), 0600), 0);
    {
        LinuxWorkspace workspace;
        workspace.openURL(QUrl(u"https://login.example/"_s), [] { QFAIL("it did open"); });
    }
    QVERIFY(waitFor([&] { return isThere(u"started"_s); }));
    QFile input(m_folder->filePath(u"fifo"_s));
    QVERIFY(input.open(QIODevice::ReadWrite | QIODevice::Unbuffered) && input.write("go\n") == 3);
    QVERIFY(waitFor([&] { return isThere(u"ended"_s); }));
    handleEvents();
}

void LinuxWorkspaceTest::tellsWhetherTheTrashHasIt() {
    const QString folder = m_folder->filePath(u"Quillmount 1.0"_s);
    const QString trash = m_folder->filePath(u"data/Trash"_s);
    qputenv("HOME", QFile::encodeName(m_folder->path()));
    qputenv("XDG_DATA_HOME", QFile::encodeName(m_folder->filePath(u"data"_s)));
    putFile(folder + u"/quillmount"_s, "program");
    putFile(trash, "in the way");
    QVERIFY(!LinuxWorkspace().moveToTrash(folder));
    QCOMPARE(contentOf(folder + u"/quillmount"_s), "program");
    QVERIFY(QFile::remove(trash));
    QVERIFY(LinuxWorkspace().moveToTrash(folder));
    QCOMPARE(contentOf(trash + u"/files/Quillmount 1.0/quillmount"_s), "program");
    QVERIFY(!QFileInfo::exists(folder));
}

QTEST_GUILESS_MAIN(LinuxWorkspaceTest)
#include "LinuxWorkspaceTest.moc"
