// SPDX-License-Identifier: LicenseRef-Quillmount
#include "Platform/Linux/LinuxNetworkPath.h"

#include <QProcess>
#include <QSignalSpy>
#include <QTest>

#include <sched.h>
#include <unistd.h>

using namespace quillmount;
using namespace Qt::StringLiterals;

// In a network of its own, where a route to anywhere is what makes it a network.
class LinuxNetworkPathTest : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void followsTheNetwork_data();
    void followsTheNetwork();

private:
    static bool setRoute(bool there) {
        return QProcess::execute(u"/sbin/ip"_s,
                                 {u"route"_s, there ? u"replace"_s : u"flush"_s, u"default"_s, u"dev"_s, u"lo"_s}) == 0;
    }
};

void LinuxNetworkPathTest::followsTheNetwork_data() {
    QTest::addColumn<bool>("atFirst");
    QTest::newRow("started before the network") << false;
    QTest::newRow("started with it") << true;
}

void LinuxNetworkPathTest::followsTheNetwork() {
    QFETCH(const bool, atFirst);
    QVERIFY(setRoute(atFirst));
    LinuxNetworkPath path;
    QSignalSpy updates(&path, &NetworkPath::updated);
    const auto last = [&] { return updates.isEmpty() ? QVariant() : updates.last().first(); };
    path.start();
    QVERIFY(updates.isEmpty());
    for (const bool there : {atFirst, !atFirst, atFirst}) {
        QVERIFY(setRoute(there));
        QTRY_COMPARE(last(), QVariant(there));
    }
}

int main(int argc, char *argv[]) {
    // The machine's own network service knows nothing of this network.
    qputenv("GIO_USE_NETWORK_MONITOR", "netlink");
    if (::unshare(::geteuid() == 0 ? CLONE_NEWNET : CLONE_NEWUSER | CLONE_NEWNET) != 0)
        qFatal("no network of its own");
    QCoreApplication application(argc, argv);
    if (QProcess::execute(u"/sbin/ip"_s, {u"link"_s, u"set"_s, u"lo"_s, u"up"_s}) != 0)
        qFatal("no loopback interface");
    LinuxNetworkPathTest test;
    return QTest::qExec(&test, argc, argv);
}
#include "LinuxNetworkPathTest.moc"
