// SPDX-License-Identifier: LicenseRef-Quillmount
#include "Platform/Linux/LinuxLocalPeers.h"

#include <QByteArray>
#include <QFile>

#include <arpa/inet.h>
#include <netinet/in.h>
#include <optional>
#include <sys/socket.h>
#include <unistd.h>

namespace quillmount {

using namespace Qt::StringLiterals;

namespace {

struct Connection {
    sockaddr_in own = {};
    sockaddr_in peer = {};
};

std::optional<Connection> connectionOf(int socket) {
    Connection connection;
    socklen_t ownSize = sizeof connection.own;
    socklen_t peerSize = sizeof connection.peer;
    if (::getsockname(socket, reinterpret_cast<sockaddr *>(&connection.own), &ownSize) != 0 ||
        ::getpeername(socket, reinterpret_cast<sockaddr *>(&connection.peer), &peerSize) != 0 ||
        connection.own.sin_family != AF_INET || connection.peer.sin_family != AF_INET)
        return std::nullopt;
    return connection;
}

QByteArray hexadecimal(quint32 number, int digits) {
    return QByteArray::number(number, 16).toUpper().rightJustified(digits, '0');
}

// As the kernel prints it: addresses as numbers of the machine's own byte order, whatever their bytes mean.
QByteArray printed(const sockaddr_in &address, bool isMapped) {
    const QByteArray prefix = isMapped ? QByteArray(16, '0') + hexadecimal(htonl(0xffff), 8) : QByteArray();
    return prefix + hexadecimal(address.sin_addr.s_addr, 8) + ':' + hexadecimal(ntohs(address.sin_port), 4);
}

// The user of the other end; absent when the table does not tell.
std::optional<uid_t> peerIn(const QByteArray &table, const Connection &connection, bool isMapped) {
    const QByteArray ends = ' ' + printed(connection.peer, isMapped) + ' ' + printed(connection.own, isMapped) + ' ';
    const qsizetype entry = table.indexOf(ends);
    if (entry < 0)
        return std::nullopt;
    const qsizetype rest = entry + ends.size();
    const QByteArrayList fields = table.mid(rest, table.indexOf('\n', rest) - rest).simplified().split(' ');
    // state, queues, timer, retransmissions, user, timeout, inode: a socket that its program has left has no inode, and
    // the user it then names is nobody's.
    if (fields.size() < 7 || fields[6] == "0")
        return std::nullopt;
    bool isNumber = false;
    const uid_t user = fields[4].toUInt(&isNumber);
    return isNumber ? std::optional(user) : std::nullopt;
}

QByteArray contents(const QString &path) {
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

} // namespace

QList<int> LinuxLocalPeers::foreign(const QList<int> &sockets) const {
    if (sockets.isEmpty())
        return {};
    const QByteArray tables[] = {contents(u"/proc/self/net/tcp"_s), contents(u"/proc/self/net/tcp6"_s)};
    QList<int> foreign;
    for (const int socket : sockets) {
        const std::optional<Connection> connection = connectionOf(socket);
        if (!connection)
            continue;
        std::optional<uid_t> user = peerIn(tables[0], *connection, false);
        // A socket of version 6 can connect as well; its addresses are mapped ones then.
        if (!user)
            user = peerIn(tables[1], *connection, true);
        if (user && *user != ::geteuid() && *user != 0)
            foreign.append(socket);
    }
    return foreign;
}

} // namespace quillmount
