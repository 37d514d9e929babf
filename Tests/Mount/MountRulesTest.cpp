// SPDX-License-Identifier: LicenseRef-Quillmount
#include "Mount/ErrorMapping.h"
#include "Mount/ListenerTable.h"
#include "Mount/Liveness.h"
#include "Mount/LoopbackHost.h"
#include "Mount/MountOptions.h"
#include "Mount/NfsDecoding.h"
#include "Mount/SillyName.h"
#include "MountList/MountList.h"

#include <QTemporaryDir>
#include <QTest>

#include <nfsc/libnfs.h>

#include <nfsc/libnfs-raw-nfs.h>

#include <cerrno>

using namespace quillmount;
using namespace quillmount::mount;
using namespace std::chrono_literals;

// The mount program's rules about its surroundings: arguments, hosts, the kernel's lists, a silent server.
class MountRulesTest : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void refusesArguments_data();
    void refusesArguments();
    void knowsLoopbackHosts_data();
    void knowsLoopbackHosts();
    void readsTheListOfMounts();
    void resolvesTheParentOnly();
    void tellsWhoListens();
    void keepsTimesInRange();
    void judgesSilence();
    void mapsErrors();
    void hidesUnlinkedFiles();
};

void MountRulesTest::refusesArguments_data() {
    QTest::addColumn<QString>("options");
    QTest::addColumn<QString>("message");
    const QString good = QStringLiteral("port=1,mountport=1,tcp,vers=3,locallocks,nodev,nosuid,deadtimeout=30");
    const auto row = [&](const char *before, const char *after, const char *message) {
        QString changed = good;
        changed.replace(QLatin1StringView(before), QLatin1StringView(after));
        QTest::addRow("%s -> %s", before, after) << changed << QString::fromLatin1(message);
    };
    row("port=1,", "port=65536,", "bad value");
    row("port=1,", "port=1x,", "bad value");
    row("port=1,", "port=1,port=1,", "given twice");
    row("tcp", "udp", "unknown option");
    row("tcp,", "", "\"tcp\" is missing");
    row("deadtimeout=30", "deadtimeout=0", "bad value");
    row("vers=3", "vers=4", "bad value");
    row("nosuid", "nosuid,,", "unknown option");
    row("nosuid", "nosuid,allow_other", "unknown option");
}

void MountRulesTest::refusesArguments() {
    QFETCH(QString, options);
    QFETCH(QString, message);
    const QByteArray text = options.toLatin1();
    const auto parsed = parseMountOptions({"-o", text.constData(), "localhost:/", "/mnt"});
    const auto *found = std::get_if<std::string>(&parsed);
    QVERIFY(found);
    QVERIFY2(QString::fromStdString(*found).contains(message), found->c_str());
    QVERIFY(found->find('\n') == std::string::npos);
}

void MountRulesTest::knowsLoopbackHosts_data() {
    QTest::addColumn<QString>("host");
    QTest::addColumn<QString>("address");
    QTest::newRow("plain") << QStringLiteral("localhost") << QStringLiteral("127.0.0.1");
    QTest::newRow("below localhost") << QStringLiteral("Quillmount.LOCALHOST") << QStringLiteral("127.0.0.1");
    QTest::newRow("literal") << QStringLiteral("127.1.2.3") << QStringLiteral("127.1.2.3");
    QTest::newRow("literal of version 6") << QStringLiteral("[::1]") << QStringLiteral("::1");
    QTest::newRow("the drive's name") << QStringLiteral("QuillMount") << QStringLiteral("127.0.0.2");
    QTest::newRow("only looks like it") << QStringLiteral("localhost.example.org") << QString();
    QTest::newRow("ends like it") << QStringLiteral("notlocalhost") << QString();
    QTest::newRow("nothing before the dot") << QStringLiteral(".localhost") << QString();
    QTest::newRow("another address") << QStringLiteral("10.0.0.1") << QString();
    QTest::newRow("every address") << QStringLiteral("0.0.0.0") << QString();
    QTest::newRow("another of version 6") << QStringLiteral("[fe80::1]") << QString();
    QTest::newRow("another name") << QStringLiteral("elsewhere") << QString();
}

void MountRulesTest::knowsLoopbackHosts() {
    QFETCH(QString, host);
    QFETCH(QString, address);
    // The resolver knows every name, so that asking it for the wrong ones would show.
    const auto found = loopbackAddress(host.toStdString(), [](const std::string &) {
        return std::vector<std::string>{"::1", "127.0.0.2"};
    });
    QCOMPARE(QString::fromStdString(found.value_or("")), address);
    const auto mixed = [](const std::string &) { return std::vector<std::string>{"127.0.0.1", "192.0.2.7"}; };
    QVERIFY(!loopbackAddress("Quillmount", mixed));
    QVERIFY(!loopbackAddress("Quillmount", [](const std::string &) { return std::vector<std::string>(); }));
}

void MountRulesTest::readsTheListOfMounts() {
    const auto records =
        parseMountInfo("27 1 254:0 / / rw,relatime shared:1 - ext4 /dev/vda rw\n"
                       "garbage\n"
                       "41 27 0:38 / /home/a\\040b\\134c\\011 rw - fuse.quillmount q.localhost:/ rw,user_id=0\n"
                       "42 27 0:39 / /home/x rw master:1 propagate_from:2 - tmpfs none rw\n"
                       "43 42 0:40 / /home/x rw - fuse.quillmount a\\054b rw\n"
                       "44 42 0:41 / /a\\134040b\\9\\04\xff rw - tmpfs none rw\n"
                       "45 42 0:42 / ");
    QCOMPARE(records.size(), 5U);
    QCOMPARE(records[4].mountPoint, std::string("/a\\040b\\9\\04\xff"));
    QCOMPARE(records[1].mountPoint, std::string("/home/a b\\c\t"));
    QCOMPARE(records[1].fileSystem, std::string("fuse.quillmount"));
    QCOMPARE(records[1].source, std::string("q.localhost:/"));
    QCOMPARE(records[1].device, std::string("0:38"));
    const auto stacked = mountsAt(records, "/home/x");
    QCOMPARE(stacked.size(), 2U);
    QCOMPARE(stacked.back().id, 43);
    QCOMPARE(stacked.back().source, std::string("a,b"));
    QVERIFY(mountsAt(records, "/home").empty());
    QVERIFY(mountsAt(records, "/home/x/").empty());
}

void MountRulesTest::resolvesTheParentOnly() {
    QTemporaryDir directory;
    const std::string base = resolveMountPoint(directory.path().toStdString());
    QVERIFY(QDir(directory.path()).mkdir(QStringLiteral("real")));
    QVERIFY(QFile::link(directory.filePath(QStringLiteral("real")), directory.filePath(QStringLiteral("link"))));
    // The last component is not even looked at: it need not exist, and a link there stays a link.
    QCOMPARE(resolveMountPoint(base + "/link/absent//"), base + "/real/absent");
    QCOMPARE(resolveMountPoint(base + "/link"), base + "/link");
    for (const char *bad : {"/..", "/.", "/absent/x"})
        QCOMPARE(resolveMountPoint(base + bad), std::string());
    QCOMPARE(resolveMountPoint("/"), std::string());
    QCOMPARE(resolveMountPoint("/x"), std::string("/x"));
}

void MountRulesTest::tellsWhoListens() {
    const auto table = [](const char *local, const char *state, int uid) {
        return "  sl  local_address rem_address   st tx_queue rx_queue tr tm->when retrnsmt   uid  timeout\n   0: " +
               std::string(local) + " 00000000:0000 " + state + " 00000000:00000000 00:00000000 00000000 " +
               std::to_string(uid) + " 0 1 1\n";
    };
    const auto owner = [&](const std::string &text) { return listenerOwner(text, "127.0.0.1", 8080, 7); };
    QVERIFY(owner(table("0100007F:1F90", "0A", 7)) == ListenerOwner::own);
    for (const char *reached : {"0100007F:1F90", "00000000:1F90", "00000000000000000000000000000000:1F90",
                                "0000000000000000FFFF00000100007F:1F90"})
        QVERIFY(owner(table(reached, "0A", 8)) == ListenerOwner::foreign);
    // Another loopback address, another machine's, another port and a mere connection do not matter.
    for (const char *other :
         {"0200007F:1F90", "0101A8C0:1F90", "0100007F:1F91", "00000000000000000000000001000000:1F90"})
        QVERIFY(owner(table(other, "0A", 8)) == ListenerOwner::unknown);
    QVERIFY(owner(table("0100007F:1F90", "01", 8)) == ListenerOwner::unknown);
    QVERIFY(owner("") == ListenerOwner::unknown);
    QVERIFY(listenerOwner(table("00000000000000000000000001000000:1F90", "0A", 8), "::1", 8080, 7) ==
            ListenerOwner::foreign);
}

void MountRulesTest::keepsTimesInRange() {
    const std::pair<qint64, quint32> cases[] = {
        {-1, 0}, {1'800'000'000, 1'800'000'000}, {0xFFFFFFFF, 0xFFFFFFFF}, {0x100000000, 0xFFFFFFFF}};
    for (const auto &[seconds, sent] : cases)
        QCOMPARE(wireTime({static_cast<time_t>(seconds), 5}).seconds, sent);
}

void MountRulesTest::judgesSilence() {
    using Verdict = Liveness::Verdict;
    const Moment start{};
    Liveness liveness(40s);
    // Nobody asked anything: silence means nothing, and there is nothing to wake up for.
    QVERIFY(liveness.judge(start + 1h) == Verdict::fine);
    QVERIFY(!liveness.nextLook());
    liveness.callStarted(start);
    QVERIFY(liveness.judge(start + 9s) == Verdict::fine);
    QVERIFY(liveness.nextLook() == start + 10s);
    QVERIFY(liveness.judge(start + 10s) == Verdict::ask);
    // Asked late, because this program itself was stopped: the server gets its time from then on.
    liveness.asked(start + 500s);
    QVERIFY(liveness.judge(start + 529s) == Verdict::fine);
    QVERIFY(liveness.judge(start + 530s) == Verdict::dead);
    // Anything heard, on whatever connection, lets a slow call go on.
    liveness.answered(start + 529s);
    QVERIFY(liveness.judge(start + 538s) == Verdict::fine);
    QVERIFY(liveness.judge(start + 539s) == Verdict::ask);
    liveness.callEnded();
    QVERIFY(!liveness.nextLook());
    // The next call starts with a clean slate.
    liveness.callStarted(start + 5000s);
    QVERIFY(liveness.judge(start + 5009s) == Verdict::fine);
}

void MountRulesTest::mapsErrors() {
    // What the server cannot open or list is no fault of the program that asks.
    QCOMPARE(errorNumber(Procedure::read, Ending::answered, NFS3ERR_ACCES), EIO);
    QCOMPARE(errorNumber(Procedure::rename, Ending::answered, NFS3ERR_ACCES), EACCES);
    QCOMPARE(errorNumber(Procedure::list, Ending::answered, NFS3ERR_NOTDIR), EIO);
    QCOMPARE(errorNumber(Procedure::create, Ending::answered, NFS3ERR_NOTDIR), ENOTDIR);
    QCOMPARE(errorNumber(Procedure::read, Ending::answered, 12345), EIO);
    // Without a status there is never success.
    QCOMPARE(errorNumber(Procedure::write, Ending::rejected, 0), EIO);
    QCOMPARE(errorNumber(Procedure::write, Ending::unreachable, 0), ETIMEDOUT);
}

void MountRulesTest::hidesUnlinkedFiles() {
    const SillyName here("this machine");
    const SillyName there("another machine");
    const std::string hidden = here.make(1'800'000'000'000, 42);
    QVERIFY(hidden.starts_with('.') && hidden.size() < 255);
    QVERIFY(hidden != here.make(1'800'000'000'000, 43));
    QVERIFY(SillyName::isHidden(hidden) && here.isOwn(hidden) && !there.isOwn(hidden));
    QVERIFY(SillyName::isHidden(there.make(1'800'000'000'000, 42)));
    // Another mount of this machine's may still need what it made since this one started.
    QVERIFY(here.isLeftover(hidden, 1'800'000'000'001) && !here.isLeftover(hidden, 1'800'000'000'000));
    QVERIFY(!there.isLeftover(hidden, 1'800'000'000'001));
    for (const std::string &other :
         {std::string(".nfs-notes"), hidden + "x", hidden.substr(1), hidden.substr(0, hidden.size() - 1),
          std::string(".nfs-quillmount-0123456789abcdeg-0123456789abcdef")})
        QVERIFY(!SillyName::isHidden(other));
}

QTEST_GUILESS_MAIN(MountRulesTest)
#include "MountRulesTest.moc"
