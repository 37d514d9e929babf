// SPDX-License-Identifier: LicenseRef-Quillmount
#include "Platform/Linux/LinuxTerminationSignals.h"

#include "Platform/Linux/PlatformLog.h"

#include <QPointer>

#include <atomic>
#include <cerrno>
#include <fcntl.h>
#include <unistd.h>

namespace quillmount {

namespace {

std::atomic<int> writeEnd = -1;
static_assert(std::atomic<int>::is_always_lock_free);

// Runs in signal context, between any two instructions.
extern "C" void writeSignal(int signal) {
    const int error = errno;
    const auto number = static_cast<unsigned char>(signal);
    // A full pipe already holds more requests than anybody needs.
    [[maybe_unused]] const ssize_t written = ::write(writeEnd.load(), &number, 1);
    errno = error;
}

} // namespace

LinuxTerminationSignals::~LinuxTerminationSignals() {
    if (!m_notifier)
        return;
    m_notifier.reset();
    writeEnd = -1;
    for (const int end : m_pipe)
        ::close(end);
}

void LinuxTerminationSignals::install() {
    Q_ASSERT(!m_notifier && writeEnd.load() < 0);
    if (::pipe2(m_pipe.data(), O_CLOEXEC | O_NONBLOCK) != 0) {
        const QString error = systemError();
        qCCritical(platformLog) << "signals cannot be received:" << error;
        return;
    }
    writeEnd = m_pipe[1];
    m_notifier = std::make_unique<QSocketNotifier>(m_pipe[0], QSocketNotifier::Read);
    connect(m_notifier.get(), &QSocketNotifier::activated, this, &LinuxTerminationSignals::readPipe);

    sigset_t set;
    sigemptyset(&set);
    for (const int number : {SIGTERM, SIGINT, SIGHUP}) {
        struct sigaction action = {};
        struct sigaction former = {};
        action.sa_handler = writeSignal;
        action.sa_flags = SA_RESTART;
        ::sigaction(number, &action, &former);
        sigaddset(&set, number);
        if (number == SIGHUP)
            m_hangUpIgnored = former.sa_handler == SIG_IGN;
    }
    ::pthread_sigmask(SIG_UNBLOCK, &set, nullptr);
}

void LinuxTerminationSignals::readPipe() {
    std::array<unsigned char, 64> numbers = {};
    const ssize_t count = ::read(m_pipe[0], numbers.data(), numbers.size());
    // Whoever hears of one may end the application, and this object with it.
    const QPointer<LinuxTerminationSignals> self = this;
    for (ssize_t i = 0; i < count && self; ++i)
        if (numbers[size_t(i)] != SIGHUP || !m_hangUpIgnored)
            Q_EMIT received(numbers[size_t(i)]);
}

} // namespace quillmount
