// SPDX-License-Identifier: LicenseRef-Quillmount
#include "Listener.h"

#include "GoogleStandIn/StateFolder.h"

#include <arpa/inet.h>
#include <netinet/tcp.h>
#include <poll.h>
#include <sys/eventfd.h>
#include <sys/socket.h>
#include <unistd.h>

using namespace Qt::StringLiterals;

namespace quillmount::standin {

namespace {
constexpr int backlog = 128;

int boundSocket(quint16 port) {
    const int fd = ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    const int on = 1;
    ::setsockopt(fd, SOL_SOCKET, SO_REUSEADDR, &on, sizeof on);
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_port = htons(port);
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    if (::bind(fd, reinterpret_cast<sockaddr *>(&address), sizeof address) != 0) {
        ::close(fd);
        return -1;
    }
    return fd;
}

quint16 portOf(int fd) {
    sockaddr_in address{};
    socklen_t size = sizeof address;
    ::getsockname(fd, reinterpret_cast<sockaddr *>(&address), &size);
    return ntohs(address.sin_port);
}
} // namespace

Listener::Listener(Handler handler)
    : m_handler(std::move(handler))
    , m_wake(::eventfd(0, EFD_CLOEXEC)) {
    // A port that the system gave is lost as soon as the socket stops listening; one that was asked for by number is
    // not. So the number is found by one socket and held by another while the first still has it.
    const int scout = boundSocket(0);
    const bool ok = scout >= 0 && openPort(portOf(scout));
    ::close(scout);
    if (!ok || ::listen(m_socket, backlog) != 0)
        throw StartError(u"No port can be opened on the loopback interface."_s);
    m_acceptor = std::thread([this] { accept(); });
}

Listener::~Listener() {
    m_stopping = true;
    ::eventfd_write(m_wake, 1);
    m_acceptor.join();
    cutConnections();
    reap(true);
    ::close(m_socket);
    ::close(m_wake);
}

bool Listener::openPort(quint16 port) {
    m_socket = boundSocket(port);
    m_port = port;
    return m_socket >= 0;
}

void Listener::setMode(Mode mode) {
    const Mode before = m_mode.exchange(mode);
    if (mode == Mode::refuse && before != Mode::refuse) {
        // Stops listening but keeps the port, so that it is the same one when the network comes back.
        ::shutdown(m_socket, SHUT_RD);
    } else if (mode != Mode::refuse && before == Mode::refuse) {
        ::listen(m_socket, backlog);
        ::eventfd_write(m_wake, 1);
    }
    if (mode != Mode::open) {
        cutConnections();
    } else if (before == Mode::silent) {
        cutConnections();
    }
}

void Listener::accept() {
    while (!m_stopping) {
        // A socket that does not listen is always "ready" with an error: then only the wake-up is of interest.
        pollfd wait[2] = {{m_wake, POLLIN, 0}, {m_socket, POLLIN, 0}};
        ::poll(wait, m_mode == Mode::refuse ? 1 : 2, -1);
        if (wait[0].revents & POLLIN) {
            eventfd_t value = 0;
            ::eventfd_read(m_wake, &value);
            continue;
        }
        const int fd = ::accept4(m_socket, nullptr, nullptr, SOCK_CLOEXEC);
        if (fd >= 0) {
            const int on = 1;
            ::setsockopt(fd, IPPROTO_TCP, TCP_NODELAY, &on, sizeof on);
            take(fd, m_mode == Mode::silent);
        }
    }
}

void Listener::take(int descriptor, bool silent) {
    reap(false);
    const std::lock_guard lock(m_mutex);
    Connection &connection = m_connections.emplace_back();
    connection.descriptor = descriptor;
    connection.thread = std::thread([this, &connection, descriptor, silent] {
        if (silent) {
            pollfd wait{descriptor, POLLRDHUP, 0};
            ::poll(&wait, 1, -1);
        } else {
            m_handler(descriptor);
        }
        const std::lock_guard guard(m_mutex);
        ::close(connection.descriptor);
        connection.descriptor = -1;
        connection.finished = true;
        m_ended.notify_all();
    });
}

void Listener::cutConnections() {
    const std::lock_guard lock(m_mutex);
    for (const Connection &connection : m_connections) {
        if (connection.descriptor >= 0)
            ::shutdown(connection.descriptor, SHUT_RDWR);
    }
}

void Listener::reap(bool all) {
    std::unique_lock lock(m_mutex);
    for (auto it = m_connections.begin(); it != m_connections.end();) {
        if (all) {
            m_ended.wait(lock, [&] { return it->finished; });
        }
        if (!it->finished) {
            ++it;
            continue;
        }
        it->thread.join();
        it = m_connections.erase(it);
    }
}

} // namespace quillmount::standin
