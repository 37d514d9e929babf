// SPDX-License-Identifier: LicenseRef-Quillmount
#include "Tests/Support/WaitFor.h"

#include <QCoreApplication>
#include <QDeadlineTimer>
#include <QEventLoop>
#include <QTimer>

#include <csignal>

namespace quillmount {

using namespace std::chrono_literals;

namespace {
constexpr auto maxTurn = 5ms;
} // namespace

bool waitFor(const std::function<bool()> &condition, std::chrono::milliseconds timeout) {
    const QDeadlineTimer deadline(timeout);
    while (!condition()) {
        if (deadline.hasExpired())
            return false;
        handleEvents();
    }
    return true;
}

void handleEvents() {
    // The timer only bounds the wait for an event: nothing counts on how long it takes.
    QTimer bound;
    bound.start(maxTurn);
    QCoreApplication::processEvents(QEventLoop::WaitForMoreEvents);
    QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
}

bool processExists(qint64 pid) {
    return kill(static_cast<pid_t>(pid), 0) == 0;
}

} // namespace quillmount
