// SPDX-License-Identifier: LicenseRef-Quillmount
#pragma once

#include "Mount/EventLoop.h"

#ifndef FUSE_USE_VERSION
#define FUSE_USE_VERSION 312
#endif
#include <fuse_lowlevel.h>

#include <memory>

namespace quillmount::mount {

// One request of the kernel, answered exactly once. One that is dropped unanswered is answered with EIO.
//
// An interrupted request normally just finishes. When the server takes its time, the caller that was killed gets its
// answer after `timeout` at the latest; what the call brings later is then dropped.
class Request {
public:
    Request(fuse_req_t request, EventLoop &loop, EventLoop::Clock::duration timeout)
        : m_state(std::make_shared<State>(request, loop, timeout)) {
        fuse_req_interrupt_func(request, &State::onInterrupt, m_state.get());
    }
    Request(Request &&) noexcept = default;
    Request &operator=(Request &&) = delete;
    ~Request() {
        if (m_state)
            fail(EIO);
    }

    bool isAnswered() const { return m_state->request == nullptr; }

    // Answers with an error number, 0 for success without data.
    void fail(int error) {
        if (fuse_req_t request = take())
            fuse_reply_err(request, error);
    }
    // Answers by `reply`, one of the library's functions; true when the kernel took the answer.
    template <class Reply>
    bool answer(Reply reply) {
        fuse_req_t request = take();
        return request && reply(request) == 0;
    }

private:
    struct State : std::enable_shared_from_this<State> {
        State(fuse_req_t theRequest, EventLoop &theLoop, EventLoop::Clock::duration theTimeout)
            : request(theRequest)
            , loop(theLoop)
            , timeout(theTimeout) {}
        static void onInterrupt(fuse_req_t, void *data) {
            auto *state = static_cast<State *>(data);
            state->loop.at(EventLoop::Clock::now() + state->timeout, [weak = state->weak_from_this()] {
                const auto still = weak.lock();
                if (still && still->request)
                    fuse_reply_err(std::exchange(still->request, nullptr), EINTR);
            });
        }

        fuse_req_t request;
        EventLoop &loop;
        EventLoop::Clock::duration timeout;
    };

    fuse_req_t take() { return std::exchange(m_state->request, nullptr); }

    std::shared_ptr<State> m_state;
};

} // namespace quillmount::mount
