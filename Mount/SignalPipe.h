// SPDX-License-Identifier: LicenseRef-Quillmount
#pragma once

#include "Mount/EventLoop.h"

#include <functional>

namespace quillmount::mount {

// Turns SIGTERM, SIGINT and SIGHUP into something that a loop can wait for. The handlers only write a byte, and a
// handler is not inherited by programs that are started, as an ignored or blocked signal would be. One per process.
class SignalPipe final : public Pollable {
public:
    explicit SignalPipe(std::function<void()> onSignal);
    ~SignalPipe() override;
    SignalPipe(const SignalPipe &) = delete;
    SignalPipe &operator=(const SignalPipe &) = delete;

    // True once any of the signals has come.
    bool hasSignal() const;

    int pollDescriptor() const override;
    short pollEvents() const override;
    void pollReady(short events) override;

    // Gives every signal its default meaning and unblocks all of them, whatever was inherited.
    static void resetAll();

private:
    std::function<void()> m_onSignal;
};

} // namespace quillmount::mount
