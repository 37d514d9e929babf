// SPDX-License-Identifier: LicenseRef-Quillmount
#include "Mount/Connection.h"

#include "Mount/ListenerTable.h"

#include <fcntl.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>

namespace quillmount::mount {

Connection::Connection(EventLoop &loop, Observer &observer, std::string address, std::uint16_t port)
    : m_loop(loop)
    , m_observer(observer)
    , m_address(std::move(address))
    , m_port(port) {
    m_loop.add(this);
}

Connection::~Connection() {
    close();
    m_loop.remove(this);
}

Task<int> Connection::makeReady() {
    if (m_state == State::closed) {
        m_connectError = 0;
        m_rpc = rpc_init_context();
        if (!m_rpc)
            co_return ENOMEM;
        m_state = State::connecting;
        errno = 0;
        if (rpc_connect_async(m_rpc, m_address.c_str(), m_port, &Connection::onConnected, this) != 0)
            fail(errno != 0 ? errno : ECONNABORTED);
    }
    while (m_state == State::connecting)
        co_await m_settled.wait();
    co_return m_state == State::ready ? 0 : (m_connectError != 0 ? m_connectError : ECONNABORTED);
}

void Connection::close() {
    if (!m_rpc)
        return;
    // The library forgets the descriptor of a connection that failed, so it is closed here if it is still open then.
    const int descriptor = rpc_get_fd(m_rpc);
    rpc_context *old = std::exchange(m_rpc, nullptr);
    m_state = State::closed;
    rpc_destroy_context(old);
    if (descriptor >= 0 && fcntl(descriptor, F_GETFD) != -1)
        ::close(descriptor);
    finishCalls(true);
    m_settled.open();
}

void Connection::fail(int error) {
    m_connectError = error;
    const bool established = m_state == State::ready;
    close();
    if (established)
        m_observer.connectionLost(*this);
}

int Connection::pollDescriptor() const {
    return m_rpc ? rpc_get_fd(m_rpc) : -1;
}

short Connection::pollEvents() const {
    return static_cast<short>(rpc_which_events(m_rpc) | POLLRDHUP);
}

bool Connection::peerClosed() const {
    char byte = 0;
    const ssize_t got = recv(rpc_get_fd(m_rpc), &byte, 1, MSG_PEEK | MSG_DONTWAIT);
    return got == 0 || (got < 0 && errno != EAGAIN && errno != EINTR);
}

void Connection::pollReady(short events) {
    if (m_state == State::connecting) {
        int error = 0;
        socklen_t size = sizeof error;
        getsockopt(rpc_get_fd(m_rpc), SOL_SOCKET, SO_ERROR, &error, &size);
        if (error == 0 && currentListenerOwner(m_address, m_port) == ListenerOwner::foreign)
            error = ECONNREFUSED;
        if (error != 0 || (events & (POLLERR | POLLHUP)) != 0) {
            fail(error != 0 ? error : ECONNABORTED);
            return;
        }
        rpc_service(m_rpc, POLLOUT);
        // A small question must not wait for the acknowledgement of the one before.
        const int on = 1;
        setsockopt(rpc_get_fd(m_rpc), IPPROTO_TCP, TCP_NODELAY, &on, sizeof on);
        m_state = State::ready;
        m_settled.open();
        return;
    }
    service(events & (POLLIN | POLLOUT));
    if (m_rpc && (events & (POLLERR | POLLHUP | POLLRDHUP)) != 0 && peerClosed())
        fail(ECONNRESET);
}

void Connection::beforeSleep() {
    if (m_state == State::ready && (rpc_which_events(m_rpc) & POLLOUT) != 0)
        service(POLLOUT);
}

void Connection::service(int events) {
    const bool works = rpc_service(m_rpc, events) == 0;
    const bool failed = std::ranges::any_of(m_finished, &Pending::failed);
    if (!works || (failed && peerClosed()))
        fail(ECONNRESET);
    else
        finishCalls(false);
}

void Connection::onReply(rpc_context *, int status, void *data, void *pending) {
    auto *call = static_cast<Pending *>(pending);
    call->cancelled = status != RPC_STATUS_SUCCESS && status != RPC_STATUS_ERROR;
    call->failed = status == RPC_STATUS_ERROR;
    if (status == RPC_STATUS_SUCCESS)
        call->decode(call->into, data);
    call->owner->m_finished.push_back(call);
}

void Connection::finishCalls(bool lost) {
    // The library reports a broken connection and an error of the server alike; only the outcome of the whole round
    // tells them apart.
    for (Pending *call : std::exchange(m_finished, {})) {
        if (call->cancelled || (call->failed && lost))
            call->end = CallEnd::lost;
        else
            call->end = call->failed ? CallEnd::rejected : CallEnd::answered;
        if (call->end != CallEnd::lost)
            m_observer.heard();
        readyQueue().push_back(call->waiter);
    }
}

} // namespace quillmount::mount
