// SPDX-License-Identifier: LicenseRef-Quillmount
#include "Mount/NfsClient.h"

#include <nfsc/libnfs-raw-nfs.h>

#include <algorithm>
#include <cerrno>

namespace quillmount::mount {

using namespace std::chrono_literals;

NfsClient::NfsClient(EventLoop &loop, Endpoint endpoint)
    : m_loop(loop)
    , m_endpoint(std::move(endpoint))
    , m_liveness(m_endpoint.deadTimeout)
    , m_ping(std::make_unique<Connection>(loop, *this, m_endpoint.address, m_endpoint.port)) {}

NfsClient::~NfsClient() = default;

Task<std::optional<std::size_t>> NfsClient::take(Lane lane, std::uint64_t stream) {
    LaneState &state = m_lanes[static_cast<std::size_t>(lane)];
    const auto since = EventLoop::Clock::now();
    std::optional<EventLoop::TimerKey> timeout;
    std::optional<std::size_t> place;
    while (!m_dead && !m_gone) {
        place = state.slots.take(stream, since, EventLoop::Clock::now());
        if (place)
            break;
        if (!timeout)
            timeout = m_loop.at(since + LaneSlots::maxWait, [&state] { state.released.open(); });
        co_await state.released.wait();
    }
    if (timeout)
        m_loop.cancel(*timeout);
    if (place && state.connections.size() <= *place)
        state.connections.resize(*place + 1);
    if (place && !state.connections[*place]) {
        const std::uint16_t port = lane == Lane::mount ? m_endpoint.mountPort : m_endpoint.port;
        state.connections[*place] = std::make_unique<Connection>(m_loop, *this, m_endpoint.address, port);
    }
    co_return place;
}

void NfsClient::release(Lane lane, std::size_t place) {
    LaneState &state = m_lanes[static_cast<std::size_t>(lane)];
    state.slots.release(place, EventLoop::Clock::now());
    state.released.open();
    armClosing();
}

void NfsClient::armClosing() {
    if (m_closingArmed)
        return;
    std::optional<EventLoop::Moment> next;
    for (const LaneState &state : m_lanes) {
        const auto idle = state.slots.nextIdle();
        if (idle && (!next || *idle < *next))
            next = idle;
    }
    if (!next)
        return;
    m_closingArmed = true;
    m_loop.at(std::max(*next, EventLoop::Clock::now() + 1s), [this] { closeIdle(); });
}

void NfsClient::closeIdle() {
    const auto now = EventLoop::Clock::now();
    for (LaneState &state : m_lanes) {
        for (const std::size_t place : state.slots.idle(now)) {
            if (state.connections[place]->load() > 0)
                continue; // it is being connected again
            state.slots.close(place);
            state.connections[place].reset();
        }
    }
    m_closingArmed = false;
    armClosing();
}

void NfsClient::closeAll() {
    for (LaneState &state : m_lanes) {
        for (const auto &connection : state.connections) {
            if (connection)
                connection->close();
        }
        state.released.open();
    }
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
    closeAll();
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
    case Liveness::Verdict::fine:
        break;
    case Liveness::Verdict::ask:
        m_liveness.asked(EventLoop::Clock::now());
        if (!m_pinging)
            spawn(ask());
        break;
    case Liveness::Verdict::dead:
        declareDead();
        return;
    }
    armLook();
}

void NfsClient::declareDead() {
    m_dead = true;
    closeAll();
    if (!m_pinging)
        spawn(awaitRevival());
}

Task<bool> NfsClient::ping() {
    const int error = co_await m_ping->makeReady();
    if (error != 0)
        co_return false;
    struct NoArguments {};
    NoArguments none;
    constexpr auto start = [](rpc_context *rpc, rpc_cb callback, NoArguments *, void *data) {
        return rpc_nfs3_null_async(rpc, callback, data);
    };
    const auto end = co_await m_ping->call<NoArguments>(
        start, &none, [](void *, void *) {}, nullptr);
    co_return end != Connection::CallEnd::lost;
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

} // namespace quillmount::mount
