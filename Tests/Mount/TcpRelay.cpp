// SPDX-License-Identifier: LicenseRef-Quillmount
#include "Tests/Mount/TcpRelay.h"

#include <QDataStream>
#include <QIODevice>
#include <QtEndian>

#include <arpa/inet.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>

namespace quillmount {
namespace {

sockaddr_in loopback(quint16 port) {
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    address.sin_port = htons(port);
    return address;
}

bool sendAll(int socket, const char *bytes, ssize_t count) {
    while (count > 0) {
        const ssize_t sent = ::send(socket, bytes, static_cast<std::size_t>(count), MSG_NOSIGNAL);
        if (sent <= 0)
            return false;
        bytes += sent;
        count -= sent;
    }
    return true;
}

} // namespace

TcpRelay::TcpRelay(quint16 target, Judge judge)
    : m_target(target)
    , m_judge(std::move(judge)) {
    m_listener = ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    sockaddr_in address = loopback(0);
    socklen_t size = sizeof address;
    ::bind(m_listener, reinterpret_cast<sockaddr *>(&address), size);
    ::listen(m_listener, 64);
    ::getsockname(m_listener, reinterpret_cast<sockaddr *>(&address), &size);
    m_port = ntohs(address.sin_port);
    m_thread = std::thread([this] { run(); });
}

TcpRelay::~TcpRelay() {
    m_end = true;
    m_thread.join();
    ::close(m_listener);
    for (Pair &pair : m_pairs)
        close(pair);
}

void TcpRelay::accept() {
    Pair pair;
    pair.client = ::accept4(m_listener, nullptr, nullptr, SOCK_CLOEXEC);
    ++m_connections;
    if (m_refusals > 0) {
        --m_refusals;
        ::close(pair.client);
        return;
    }
    pair.server = ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    const sockaddr_in address = loopback(m_target);
    const int on = 1;
    ::setsockopt(pair.server, IPPROTO_TCP, TCP_NODELAY, &on, sizeof on);
    ::setsockopt(pair.client, IPPROTO_TCP, TCP_NODELAY, &on, sizeof on);
    if (::connect(pair.server, reinterpret_cast<const sockaddr *>(&address), sizeof address) != 0)
        close(pair);
    else
        m_pairs.push_back(pair);
}

void TcpRelay::close(Pair &pair) {
    for (int *socket : {&pair.client, &pair.server}) {
        if (*socket >= 0)
            ::close(std::exchange(*socket, -1));
    }
}

bool TcpRelay::pass(Pair &pair, bool fromClient) {
    char buffer[65536];
    const ssize_t count = ::recv(fromClient ? pair.client : pair.server, buffer, sizeof buffer, MSG_DONTWAIT);
    if (count <= 0)
        return false;
    if (fromClient && m_judge) {
        pair.calls.append(buffer, count);
        return judge(pair);
    }
    m_answers += fromClient ? 0 : 1;
    if (!fromClient && m_answersLeft >= 0 && m_answersLeft-- == 0)
        return false;
    return sendAll(fromClient ? pair.server : pair.client, buffer, count);
}

bool TcpRelay::judge(Pair &pair) {
    constexpr int mark =
        4; // the record's length, before the call: id, direction, version, program, its version, number
    constexpr int numberAt = mark + 20;
    pair.held = false;
    while (pair.calls.size() > numberAt) {
        const auto word = [&](int at) { return qFromBigEndian<quint32>(pair.calls.constData() + at); };
        const auto size = static_cast<qsizetype>(mark + (word(0) & 0x7fffffffU));
        if (pair.calls.size() < size)
            break;
        const Call call{word(mark), word(numberAt), pair.calls.left(size)};
        const Verdict verdict = m_judge(call);
        pair.held = verdict.kind == Verdict::hold;
        if (pair.held)
            break;
        pair.calls.remove(0, size);
        if (verdict.kind == Verdict::pass && !sendAll(pair.server, call.bytes.constData(), call.bytes.size()))
            return false;
        if (verdict.kind == Verdict::answer) {
            // An answer, accepted, no verifier, carried out; the status; no attributes from before, none from after.
            const quint32 words[] = {0x80000000U + 36, call.id, 1, 0, 0, 0, 0, verdict.status, 0, 0};
            QByteArray answer;
            QDataStream stream(&answer, QIODevice::WriteOnly);
            for (const quint32 each : words)
                stream << each;
            if (!sendAll(pair.client, answer.constData(), answer.size()))
                return false;
        }
    }
    return true;
}

void TcpRelay::run() {
    int dropsDone = 0;
    while (!m_end) {
        std::vector<pollfd> descriptors{{m_listener, POLLIN, 0}};
        for (const Pair &pair : m_pairs) {
            descriptors.push_back({pair.held ? -1 : pair.client, POLLIN, 0});
            descriptors.push_back({pair.server, POLLIN, 0});
        }
        ::poll(descriptors.data(), descriptors.size(), 20);
        const bool drop = std::exchange(dropsDone, m_drops.load()) != m_drops;
        for (std::size_t i = 0; i < m_pairs.size(); ++i) {
            Pair &pair = m_pairs[i];
            const bool broken = drop || (pair.held && !judge(pair)) ||
                                (descriptors[1 + 2 * i].revents != 0 && !pass(pair, true)) ||
                                (descriptors[2 + 2 * i].revents != 0 && !pass(pair, false));
            if (broken)
                close(pair);
        }
        std::erase_if(m_pairs, [](const Pair &pair) { return pair.client < 0; });
        if (descriptors[0].revents != 0)
            accept();
    }
}

} // namespace quillmount
