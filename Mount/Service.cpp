// SPDX-License-Identifier: LicenseRef-Quillmount
#include "Mount/Service.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/mman.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

namespace quillmount::mount {
namespace {

using namespace std::chrono_literals;

// How long the server may take to answer before anything is mounted.
constexpr auto greetingTimeout = 8s;
// How long the kernel may take to say its first word.
constexpr auto handshakeTimeout = 3s;
// From the signal to the end: whoever sends it waits three seconds before it kills.
constexpr auto endTimeout = 2500ms;

void pointAtNothing(int descriptor) {
    const int null = open("/dev/null", O_RDWR | O_CLOEXEC);
    dup2(null, descriptor);
    if (null != descriptor)
        close(null);
}

// The last line that was written to `descriptor`.
std::string lastLine(int descriptor) {
    char text[2048];
    const ssize_t size = pread(descriptor, text, sizeof text, 0);
    std::string all(text, size > 0 ? static_cast<std::size_t>(size) : 0);
    while (!all.empty() && all.back() == '\n')
        all.pop_back();
    const auto newline = all.rfind('\n');
    return newline == std::string::npos ? all : all.substr(newline + 1);
}

} // namespace

Service::Service(MountOptions options, std::string address, int channel)
    : m_options(std::move(options))
    , m_channel(channel)
    , m_signals([this] { signalled(); })
    , m_client(m_loop, {std::move(address), m_options.port, m_options.mountPort, m_options.deadTimeout})
    , m_fileSystem(m_loop, m_client)
    , m_session(m_loop, m_fileSystem, m_options.deadTimeout)
    , m_unmounter(m_loop) {
    m_loop.add(&m_signals);
    m_loop.add(this);
    m_client.onGone([this] {
        if (m_committed)
            leave();
    });
}

Service::~Service() {
    m_loop.remove(&m_signals);
    m_loop.remove(this);
}

int Service::run() {
    pointAtNothing(STDIN_FILENO);
    pointAtNothing(STDOUT_FILENO);
    // The mount helper tells its reasons only on standard error.
    m_errorOutput = memfd_create("errors", MFD_CLOEXEC);
    if (m_errorOutput >= 0)
        dup2(m_errorOutput, STDERR_FILENO);
    spawn(bringUp());
    m_loop.runUntil([this] {
        if (m_session.hasEnded() && m_reported && !m_leaving)
            leave();
        return m_done;
    });
    m_mountPoint.giveBack();
    return m_status;
}

Task<std::string> Service::tryMount() {
    const int error = co_await m_fileSystem.mountRoot();
    if (error != 0 || m_client.isGone())
        co_return std::string("the server does not answer: ") + std::strerror(m_client.isGone() ? ECONNREFUSED : error);
    if (std::string message = m_mountPoint.prepare(m_options.mountPoint); !message.empty())
        co_return message;
    if (!commandIsThere() || m_signals.hasSignal())
        co_return std::string("told to end");
    if (!m_session.mount(m_options.source(), m_mountPoint.path()))
        co_return "cannot mount: " + lastLine(STDERR_FILENO);
    m_mounted = true;
    m_mountPoint.noteMount();
    const auto limit = EventLoop::Clock::now() + handshakeTimeout;
    while (!m_session.isEstablished() && !m_session.hasEnded() && EventLoop::Clock::now() < limit)
        co_await m_loop.sleep(1ms);
    if (!m_session.isEstablished() || m_session.hasEnded())
        co_return "the kernel did not accept the mount: " + lastLine(STDERR_FILENO);
    co_return m_mountPoint.confirm(m_options.source());
}

Task<void> Service::bringUp() {
    const auto limit = m_loop.at(EventLoop::Clock::now() + greetingTimeout, [this] {
        report("the server does not answer in time");
        m_done = true;
    });
    const std::string message = co_await tryMount();
    m_loop.cancel(limit);
    if (m_done)
        co_return;
    if (message.empty() && !m_leaving) {
        report("ok");
        co_return;
    }
    report(message.empty() ? "told to end" : message);
    if (m_mounted && !m_leaving)
        leave();
    else if (!m_mounted)
        m_done = true;
}

void Service::report(const std::string &line) {
    m_reported = true;
    const std::string text = line + "\n";
    send(m_channel, text.data(), text.size(), MSG_NOSIGNAL);
}

bool Service::commandIsThere() const {
    if (m_channel < 0)
        return m_committed;
    pollfd descriptor{m_channel, POLLIN | POLLRDHUP, 0};
    return poll(&descriptor, 1, 0) == 0;
}

short Service::pollEvents() const {
    return POLLIN;
}

void Service::pollReady(short) {
    char byte = 0;
    m_committed = recv(m_channel, &byte, 1, MSG_DONTWAIT) == 1;
    close(m_channel);
    m_channel = -1;
    if (!m_committed) {
        if (m_mounted)
            leave();
        else
            m_done = true;
        return;
    }
    m_status = 0;
    pointAtNothing(STDERR_FILENO);
    close(m_errorOutput);
    if (m_client.isGone())
        leave();
    else
        spawn(m_fileSystem.clearLeftovers());
}

void Service::signalled() {
    if (!m_mounted) {
        report("told to end");
        m_done = true;
        return;
    }
    if (m_endIsBounded)
        m_done = true; // told twice: do not wait for the server any longer
    boundTheEnd();
    leave();
}

void Service::boundTheEnd() {
    if (!std::exchange(m_endIsBounded, true))
        m_loop.at(EventLoop::Clock::now() + endTimeout, [this] { m_done = true; });
}

void Service::leave() {
    if (!std::exchange(m_leaving, true))
        spawn(takeDown());
}

Task<void> Service::takeDown() {
    if (!m_session.hasEnded()) {
        // Unmounting makes the kernel hand over what programs changed through memory maps.
        const bool removed = co_await m_unmounter.unmount(m_mountPoint.path(), m_mountPoint.device(), false);
        if (!removed)
            co_await m_unmounter.unmount(m_mountPoint.path(), m_mountPoint.device(), true);
    }
    // Programs that still have files open could go on writing for ever: what they say from here on is not heard, and
    // they are told so when this process has ended.
    m_session.stop();
    co_await m_fileSystem.finish();
    m_done = true;
}

} // namespace quillmount::mount
