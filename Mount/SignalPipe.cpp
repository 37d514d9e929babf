// SPDX-License-Identifier: LicenseRef-Quillmount
#include "Mount/SignalPipe.h"

#include <poll.h>
#include <sys/eventfd.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstdint>

namespace quillmount::mount {
namespace {

int eventDescriptor = -1;
volatile std::sig_atomic_t signalled = 0;

extern "C" void noteTermination(int) {
    const int savedError = errno;
    signalled = 1;
    const std::uint64_t one = 1;
    [[maybe_unused]] const ssize_t written = write(eventDescriptor, &one, sizeof one);
    errno = savedError;
}

extern "C" void ignoreSignal(int) {}

void handle(int number, void (*handler)(int)) {
    struct sigaction action {};
    action.sa_handler = handler;
    action.sa_flags = SA_RESTART;
    sigaction(number, &action, nullptr);
}

} // namespace

SignalPipe::SignalPipe(std::function<void()> onSignal)
    : m_onSignal(std::move(onSignal)) {
    signalled = 0;
    eventDescriptor = eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK);
    for (const int number : {SIGTERM, SIGINT, SIGHUP})
        handle(number, noteTermination);
    // A server that closes its end is noticed by the error of the call.
    handle(SIGPIPE, ignoreSignal);
}

SignalPipe::~SignalPipe() {
    for (const int number : {SIGTERM, SIGINT, SIGHUP, SIGPIPE})
        handle(number, SIG_DFL);
    close(eventDescriptor);
}

bool SignalPipe::hasSignal() const {
    return signalled != 0;
}

int SignalPipe::pollDescriptor() const {
    return eventDescriptor;
}

short SignalPipe::pollEvents() const {
    return POLLIN;
}

void SignalPipe::pollReady(short) {
    std::uint64_t count = 0;
    if (read(eventDescriptor, &count, sizeof count) > 0 && m_onSignal)
        m_onSignal();
}

void SignalPipe::resetAll() {
    for (int number = 1; number < NSIG; ++number)
        handle(number, SIG_DFL);
    sigset_t none;
    sigemptyset(&none);
    sigprocmask(SIG_SETMASK, &none, nullptr);
}

} // namespace quillmount::mount
