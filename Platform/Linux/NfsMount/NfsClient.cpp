// SPDX-License-Identifier: LicenseRef-Quillmount
#include "Platform/Linux/NfsMount/NfsClient.h"

#include <nfsc/libnfs-raw-nfs.h>

#include <algorithm>
#include <cerrno>

namespace quillmount::nfsmount {

using namespace std::chrono_literals;

NfsClient::NfsClient(EventLoop &loop, Endpoint endpoint)
    : m_loop(loop)
    , m_endpoint(std::move(endpoint))
    , m_liveness(m_endpoint.deadTimeout)
    , m_ping(std::make_unique<Connection>(loop, *this, m_endpoint.address, m_endpoint.port)) {}

NfsClient::~NfsClient() = default;

Connection &NfsClient::choose(Lane lane, std::uint64_t stream) {
    switch (lane) {
    case Lane::Metadata:
        return chooseFrom(m_metadata, connectionsPerLane, 0, m_endpoint.port);
    case Lane::Read:
        return chooseFrom(m_reading, connectionsPerLane, 0, m_endpoint.port);
    case Lane::ReadAhead:
        // Reading ahead keeps to some of the connections, so that it never stands in the way of another reader.
        return chooseFrom(m_reading, connectionsPerLane / 2, 0, m_endpoint.port);
    case Lane::Write:
        return chooseFrom(m_writing, connectionsPerLane, stream, m_endpoint.port);
    case Lane::Mount:
        break;
    }
    return chooseFrom(m_mounting, 1, 0, m_endpoint.mountPort);
}

Connection &NfsClient::chooseFrom(Pool &pool, std::size_t most, std::uint64_t stream, std::uint16_t port) {
    const auto add = [&]() -> Connection & {
        pool.push_back(std::make_unique<Connection>(m_loop, *this, m_endpoint.address, port));
        return *pool.back();
    };
    if (stream != 0) {
        const std::size_t index = stream % most;
        while (pool.size() <= index)
            add();
        return *pool[index];
    }
    const std::size_t considered = std::min(most, pool.size());
    Connection *best = nullptr;
    for (std::size_t i = 0; i < considered; ++i) {
        if (!best || pool[i]->load() < best->load())
            best = pool[i].get();
    }
    if (!best || (best->load() > 0 && pool.size() < most))
        return add();
    return *best;
}

std::uint64_t NfsClient::quietStream() const {
    std::size_t best = 0;
    for (std::size_t i = 0; i < connectionsPerLane; ++i) {
        if (i == m_writing.size())
            return m_writing.empty() || m_writing[best]->load() > 0 ? i + connectionsPerLane
                                                                    : best + connectionsPerLane;
        if (m_writing[i]->load() < m_writing[best]->load())
            best = i;
    }
    return best + connectionsPerLane; // never 0, and the same connection by remainder
}

Task<int> NfsClient::connect(Connection &connection) {
    auto pause = 50ms;
    while (!m_dead && !m_gone) {
        const int error = co_await connection.makeReady();
        if (error == 0)
            co_return 0;
        if (error == ECONNREFUSED) {
            declareGone();
            break;
        }
        co_await m_loop.sleep(pause);
        pause = std::min(pause * 2, 1000ms);
    }
    co_return m_gone ? ECONNREFUSED : ETIMEDOUT;
}

void NfsClient::heard() {
    m_liveness.answered(EventLoop::Clock::now());
}

void NfsClient::connectionLost(Connection &connection) {
    // Even an idle mount finds out at once whether its server died: then nothing listens any more.
    if (!m_dead && !m_gone)
        spawn(reconnect(connection));
}

Task<void> NfsClient::reconnect(Connection &connection) {
    callStarted();
    connection.addLoad(1);
    co_await connect(connection);
    connection.addLoad(-1);
    m_liveness.callEnded();
}

void NfsClient::declareGone() {
    if (std::exchange(m_gone, true))
        return;
    for (Pool *pool : {&m_metadata, &m_reading, &m_writing, &m_mounting}) {
        for (auto &connection : *pool)
            connection->close();
    }
    if (m_onGone)
        m_onGone();
}

void NfsClient::callStarted() {
    m_liveness.callStarted(EventLoop::Clock::now());
    armLook();
}

void NfsClient::armLook() {
    if (m_lookArmed || m_dead || m_gone)
        return;
    if (const auto moment = m_liveness.nextLook()) {
        m_lookArmed = true;
        m_loop.at(*moment, [this] { look(); });
    }
}

void NfsClient::look() {
    m_lookArmed = false;
    switch (m_liveness.judge(EventLoop::Clock::now())) {
    case Liveness::Verdict::Fine:
        break;
    case Liveness::Verdict::Ask:
        m_liveness.asked(EventLoop::Clock::now());
        if (!m_pinging)
            spawn(ask());
        break;
    case Liveness::Verdict::Dead:
        declareDead();
        return;
    }
    armLook();
}

void NfsClient::declareDead() {
    m_dead = true;
    for (Pool *pool : {&m_metadata, &m_reading, &m_writing, &m_mounting}) {
        for (auto &connection : *pool)
            connection->close();
    }
    if (!m_pinging)
        spawn(awaitRevival());
}

Task<bool> NfsClient::ping() {
    if (co_await m_ping->makeReady() != 0)
        co_return false;
    struct NoArguments {};
    NoArguments none;
    constexpr auto start = [](rpc_context *rpc, rpc_cb callback, NoArguments *, void *data) {
        return rpc_nfs3_null_async(rpc, callback, data);
    };
    const auto end = co_await m_ping->call<NoArguments>(
        start, &none, [](void *, void *) {}, nullptr);
    co_return end != Connection::CallEnd::Lost;
}

Task<void> NfsClient::ask() {
    m_pinging = true;
    co_await ping();
    m_pinging = false;
    if (m_dead)
        co_await awaitRevival();
}

Task<void> NfsClient::awaitRevival() {
    // A stopped server still accepts connections, so the question simply stays open until it goes on; no ticking.
    m_pinging = true;
    while (!m_gone && m_dead) {
        const bool alive = co_await ping();
        if (alive)
            m_dead = false;
        else
            co_await m_loop.sleep(1s);
    }
    m_pinging = false;
}

} // namespace quillmount::nfsmount
