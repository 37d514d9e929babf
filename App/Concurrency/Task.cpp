// SPDX-License-Identifier: LicenseRef-Quillmount
#include "App/Concurrency/Task.h"

#include <QLoggingCategory>

#include <exception>

namespace quillmount {

namespace {

Q_LOGGING_CATEGORY(log, "quillmount.task")

QCoro::Task<> logged(QCoro::Task<> task) {
    try {
        co_await task;
    } catch (const std::exception &error) {
        qCCritical(log, "a task ended with an error: %s", error.what());
    } catch (...) {
        qCCritical(log, "a task ended with an unknown error");
    }
}

} // namespace

void spawn(QCoro::Task<> task) {
    // Dropping the outer task lets it run on to its end.
    logged(std::move(task));
}

} // namespace quillmount
