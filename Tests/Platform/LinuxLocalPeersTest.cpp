// SPDX-License-Identifier: LicenseRef-Quillmount
#include "Platform/Linux/LinuxLocalPeers.h"

#include <QTest>

#include <arpa/inet.h>
#include <csignal>
#include <netinet/in.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

using namespace quillmount;

namespace {

constexpr uid_t nobody = 65534;

enum class Family { four, six };
enum class Peer { stays, hasGone };

// In a child, which may do little: connects to the port as that user, and is there until it is ended, or leaves.
[[noreturn]] void connectAs(uid_t user, Family family, in_port_t port, Peer peer) {
    if (::setresgid(user, user, user) != 0 || ::setresuid(user, user, user) != 0)
        ::_exit(1);
    sockaddr_in address = {};
    address.sin_family = AF_INET;
    address.sin_port = port;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    sockaddr_in6 mapped = {};
    mapped.sin6_family = AF_INET6;
    mapped.sin6_port = port;
    mapped.sin6_addr.s6_addr[10] = mapped.sin6_addr.s6_addr[11] = 0xff;
    mapped.sin6_addr.s6_addr[12] = 127;
    mapped.sin6_addr.s6_addr[15] = 1;
    const bool six = family == Family::six;
    const int socket = ::socket(six ? AF_INET6 : AF_INET, SOCK_STREAM, 0);
    const int result = six ? ::connect(socket, reinterpret_cast<sockaddr *>(&mapped), sizeof mapped)
                           : ::connect(socket, reinterpret_cast<sockaddr *>(&address), sizeof address);
    if (result != 0)
        ::_exit(2);
    if (peer == Peer::hasGone)
        ::_exit(0);
    for (;;)
        ::pause();
}

} // namespace

class LinuxLocalPeersTest : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void tellsAnotherUser_data();
    void tellsAnotherUser();
};

void LinuxLocalPeersTest::tellsAnotherUser_data() {
    QTest::addColumn<uid_t>("user");
    QTest::addColumn<Family>("family");
    QTest::addColumn<Peer>("peer");
    QTest::addColumn<bool>("isForeign");
    QTest::newRow("this user") << ::geteuid() << Family::four << Peer::stays << false;
    QTest::newRow("this user, version 6") << ::geteuid() << Family::six << Peer::stays << false;
    if (::geteuid() != 0)
        return; // only root can be somebody else
    QTest::newRow("another user") << nobody << Family::four << Peer::stays << true;
    QTest::newRow("another user, version 6") << nobody << Family::six << Peer::stays << true;
    QTest::newRow("another user who has gone") << nobody << Family::four << Peer::hasGone << false;
}

void LinuxLocalPeersTest::tellsAnotherUser() {
    QFETCH(const uid_t, user);
    QFETCH(const Family, family);
    QFETCH(const Peer, peer);
    QFETCH(const bool, isForeign);
    sockaddr_in address = {};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    socklen_t size = sizeof address;
    const int listener = ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    QVERIFY(::bind(listener, reinterpret_cast<sockaddr *>(&address), size) == 0 && ::listen(listener, 5) == 0 &&
            ::getsockname(listener, reinterpret_cast<sockaddr *>(&address), &size) == 0);
    const pid_t child = ::fork();
    if (child == 0)
        connectAs(user, family, address.sin_port, peer);
    const int socket = ::accept4(listener, nullptr, nullptr, SOCK_CLOEXEC);
    if (peer == Peer::hasGone)
        QCOMPARE(::waitpid(child, nullptr, 0), child);
    const QList<int> foreign = LinuxLocalPeers().foreign({socket, listener});
    if (peer == Peer::stays) {
        ::kill(child, SIGKILL);
        ::waitpid(child, nullptr, 0);
    }
    ::close(socket);
    ::close(listener);
    QVERIFY(socket >= 0);
    QCOMPARE(foreign, isForeign ? QList<int>{socket} : QList<int>());
}

QTEST_GUILESS_MAIN(LinuxLocalPeersTest)
#include "LinuxLocalPeersTest.moc"
