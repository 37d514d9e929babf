// SPDX-License-Identifier: LicenseRef-Quillmount
#pragma once

#include "Mount/EventLoop.h"

#include <nfsc/libnfs.h>

#include <nfsc/libnfs-raw.h>

#include <cstdint>
#include <string>
#include <vector>

namespace quillmount::mount {

// One TCP connection to the server, with the calls that are outstanding on it.
class Connection final : public Pollable {
public:
    // How a call on this connection ended.
    enum class CallEnd { answered, rejected, lost };

    class Observer {
    public:
        virtual ~Observer() = default;
        // An answer of any kind came in.
        virtual void heard() = 0;
        // The other side closed an established connection.
        virtual void connectionLost(Connection &connection) = 0;
    };

    Connection(EventLoop &loop, Observer &observer, std::string address, std::uint16_t port);
    ~Connection() override;
    Connection(const Connection &) = delete;
    Connection &operator=(const Connection &) = delete;

    bool isReady() const { return m_state == State::ready; }
    // How many wait for it to be connected again.
    int load() const { return m_load; }
    void addLoad(int change) { m_load += change; }

    // Connects if need be. Gives 0 or the error number of the attempt.
    Task<int> makeReady();

    // Closes the connection; outstanding calls end as lost.
    void close();

    // A call in progress. It lives in the frame of the coroutine that waits for it, and the library calls back exactly
    // once for each, at the latest when the connection is closed.
    template <class Args>
    class Call;

    // Makes one call: `start` is one of the library's functions, `decode` reads the result while it is valid.
    template <class Args>
    auto call(int (*start)(rpc_context *, rpc_cb, Args *, void *), Args *args, void (*decode)(void *into, void *result),
              void *into) {
        return Call<Args>(*this, start, args, decode, into);
    }

    int pollDescriptor() const override;
    short pollEvents() const override;
    void pollReady(short events) override;
    void beforeSleep() override;

private:
    enum class State { closed, connecting, ready };

    struct Pending {
        std::coroutine_handle<> waiter;
        void (*decode)(void *, void *) = nullptr;
        void *into = nullptr;
        Connection *owner = nullptr;
        bool failed = false;
        bool cancelled = false;
        CallEnd end = CallEnd::lost;
    };

    static void onConnected(rpc_context *, int, void *, void *) {}
    static void onReply(rpc_context *, int status, void *data, void *pending);

    void service(int events);
    void fail(int error);
    void finishCalls(bool lost);
    bool peerClosed() const;

    EventLoop &m_loop;
    Observer &m_observer;
    std::string m_address;
    std::uint16_t m_port;
    State m_state = State::closed;
    rpc_context *m_rpc = nullptr;
    int m_load = 0;
    int m_connectError = 0;
    Gate m_settled;
    std::vector<Pending *> m_finished;
};

template <class Args>
class Connection::Call : Connection::Pending {
public:
    Call(Connection &connection, int (*start)(rpc_context *, rpc_cb, Args *, void *), Args *args,
         void (*decodeResult)(void *, void *), void *target)
        : m_start(start)
        , m_args(args) {
        owner = &connection;
        decode = decodeResult;
        into = target;
    }

    bool await_ready() const noexcept { return false; }
    bool await_suspend(std::coroutine_handle<> handle) {
        waiter = handle;
        return owner->isReady() &&
               m_start(owner->m_rpc, &Connection::onReply, m_args, static_cast<Pending *>(this)) == 0;
    }
    CallEnd await_resume() const noexcept { return end; }

private:
    int (*m_start)(rpc_context *, rpc_cb, Args *, void *);
    Args *m_args;
};

} // namespace quillmount::mount
