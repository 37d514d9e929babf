// SPDX-License-Identifier: LicenseRef-Quillmount
#include "Platform/Linux/LinuxMountTable.h"
#include "Tests/Support/Machine.h"

#include <QDir>
#include <QFile>
#include <QProcess>
#include <QRegularExpression>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QTest>

#include <cerrno>
#include <csignal>
#include <cstring>
#include <sched.h>
#include <sys/mount.h>
#include <unistd.h>

using namespace quillmount;
using namespace Qt::StringLiterals;

// Runs with mounts of its own, which nobody else sees and which go with it.
class LinuxMountTableTest : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void init();
    void cleanup();
    void resolvesTheParentAlone();
    void reportsAnUnmount_data();
    void reportsAnUnmount();
    void reportsTheEndOfTheServer();
    void reportsWhatHappenedBeforeTheWatch();
    void wakesAStoppedServer();

private:
    struct Ending {
        void operator()(QProcess *process) const {
            process->kill();
            process->waitForFinished();
            delete process;
        }
    };
    using Server = std::unique_ptr<QProcess, Ending>;

    bool mount(const QString &path) const;
    // A process that the watch takes for the server of `path`.
    Server serve(const QString &path) const;

    std::unique_ptr<QTemporaryDir> m_root;
    QString m_home;
    QString m_path;
};

void LinuxMountTableTest::init() {
    m_root = std::make_unique<QTemporaryDir>();
    m_home = QDir(m_root->path()).canonicalPath() + u"/real home"_s;
    m_path = m_home + u"/Quill mount"_s;
    QVERIFY(QDir().mkpath(m_path));
    QVERIFY(QFile::link(WAITING_PROGRAM ""_L1, m_root->path() + u"/quillmount-mount"_s));
}

void LinuxMountTableTest::cleanup() {
    ::umount2(QFile::encodeName(m_path).constData(), MNT_DETACH);
}

bool LinuxMountTableTest::mount(const QString &path) const {
    if (::mount("none", QFile::encodeName(path).constData(), "tmpfs", 0, "size=64k") == 0)
        return true;
    qWarning("mount: %s", std::strerror(errno));
    return false;
}

LinuxMountTableTest::Server LinuxMountTableTest::serve(const QString &path) const {
    Server server(new QProcess);
    server->start(m_root->path() + u"/quillmount-mount"_s, {u"-o"_s, u"port=1"_s, u"localhost:/"_s, path});
    if (!server->waitForReadyRead())
        server.reset();
    return server;
}

void LinuxMountTableTest::resolvesTheParentAlone() {
    const QString link = m_root->path() + u"/home"_s;
    QVERIFY(QFile::link(m_home, link));
    QVERIFY(QFile::link(m_path, m_home + u"/link"_s));
    const LinuxMountTable table;
    QVERIFY(!table.isMounted(m_path) && !table.isForeign(m_path));
    QVERIFY(mount(m_path));
    QVERIFY(table.isMounted(m_path) && table.isForeign(m_path));
    QVERIFY(table.isMounted(link + u"/Quill mount"_s));
    QVERIFY(table.isMounted(link + u"/Quill mount/"_s));
    QVERIFY2(!table.isMounted(m_home + u"/link"_s), "the mount point itself was followed");
    for (const QString &other : {m_home, m_home + u"/Quill"_s, m_path + u"/x"_s, m_home + u"/none/Quill mount"_s})
        QVERIFY2(!table.isMounted(other), qPrintable(other));
    QVERIFY(table.isMounted(u"/"_s));
    QVERIFY(table.isMounted(u"/proc"_s));
}

void LinuxMountTableTest::reportsAnUnmount_data() {
    QTest::addColumn<bool>("serverEnds");
    QTest::newRow("from outside") << false;
    QTest::newRow("by the server, which ends") << true;
}

void LinuxMountTableTest::reportsAnUnmount() {
    QFETCH(bool, serverEnds);
    QVERIFY(mount(m_path));
    const auto server = serve(m_path);
    QVERIFY(server);
    const auto watch = LinuxMountTable().watch(m_path);
    QSignalSpy unmounted(watch.get(), &MountWatch::unmounted);
    QSignalSpy serverGone(watch.get(), &MountWatch::serverGone);

    // Somebody else's mount is no news.
    const QString other = m_home + u"/other"_s;
    QVERIFY(QDir().mkpath(other) && mount(other));
    QCOMPARE(::umount2(QFile::encodeName(other).constData(), 0), 0);
    watch->tend();
    QCoreApplication::processEvents();
    QVERIFY(unmounted.isEmpty() && serverGone.isEmpty());

    QCOMPARE(::umount2(QFile::encodeName(m_path).constData(), 0), 0);
    if (serverEnds) {
        server->kill();
        QVERIFY(server->waitForFinished());
    }
    QTRY_COMPARE(unmounted.size(), 1);
    watch->tend();
    QCoreApplication::processEvents();
    QCOMPARE(unmounted.size(), 1);
    QCOMPARE(serverGone.size(), 0);
}

void LinuxMountTableTest::reportsTheEndOfTheServer() {
    QVERIFY(mount(m_path));
    const auto server = serve(m_path);
    const auto other = serve(m_path + u" 2"_s);
    QVERIFY(other && server);
    auto watch = LinuxMountTable().watch(m_path);
    QSignalSpy unmounted(watch.get(), &MountWatch::unmounted);
    QSignalSpy serverGone(watch.get(), &MountWatch::serverGone);
    other->kill();
    QVERIFY(other->waitForFinished());
    QVERIFY(!serverGone.wait(100));
    // A receiver may drop the watch while it speaks.
    connect(watch.get(), &MountWatch::serverGone, this, [&watch] { watch.reset(); });
    server->kill();
    QVERIFY(server->waitForFinished());
    QTRY_COMPARE(serverGone.size(), 1);
    QCOMPARE(unmounted.size(), 0);
}

void LinuxMountTableTest::reportsWhatHappenedBeforeTheWatch() {
    QVERIFY(mount(m_path));
    const auto serverless = LinuxMountTable().watch(m_path);
    QSignalSpy serverGone(serverless.get(), &MountWatch::serverGone);
    QVERIFY2(serverGone.isEmpty(), "reported before anybody could listen");
    QTRY_COMPARE(serverGone.size(), 1);

    const auto mountless = LinuxMountTable().watch(m_home + u"/other"_s);
    QSignalSpy unmounted(mountless.get(), &MountWatch::unmounted);
    QTRY_COMPARE(unmounted.size(), 1);
}

void LinuxMountTableTest::wakesAStoppedServer() {
    QVERIFY(mount(m_path));
    const auto server = serve(m_path);
    QVERIFY(server);
    const auto watch = LinuxMountTable().watch(m_path);
    QSignalSpy serverGone(watch.get(), &MountWatch::serverGone);
    const auto state = [&] {
        QFile stat(u"/proc/%1/stat"_s.arg(server->processId()));
        return stat.open(QIODevice::ReadOnly) ? stat.readAll().split(')').last().mid(1, 1) : QByteArray();
    };
    ::kill(pid_t(server->processId()), SIGSTOP);
    QTRY_COMPARE(state(), QByteArray("T"));
    QTest::ignoreMessage(QtWarningMsg, QRegularExpression(u"was stopped; it goes on"_s));
    watch->tend();
    QTRY_COMPARE(state(), QByteArray("S"));
    watch->tend();
    QVERIFY(serverGone.isEmpty());
}

namespace {
bool enterOwnMountNamespace() {
    const int user = ::geteuid() == 0 ? 0 : CLONE_NEWUSER;
    return ::unshare(CLONE_NEWNS | user) == 0 && ::mount("none", "/", nullptr, MS_REC | MS_PRIVATE, nullptr) == 0;
}
} // namespace

int main(int argc, char *argv[]) {
    // Before there are threads, which would stay behind.
    if (!enterOwnMountNamespace()) {
        std::fprintf(stderr, "%s\n", qUtf8Printable(Machine::lacksMountNamespaces()));
        return 1;
    }
    QCoreApplication application(argc, argv);
    LinuxMountTableTest test;
    return QTest::qExec(&test, argc, argv);
}
#include "LinuxMountTableTest.moc"
