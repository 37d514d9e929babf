// SPDX-License-Identifier: LicenseRef-Quillmount
#pragma once

#include <QCoroTask>

#include <exception>
#include <memory>
#include <optional>
#include <utility>

namespace quillmount {

// What has become of a task that a test started.
template <typename T>
struct Outcome {
    bool isDone = false;
    std::optional<T> value; // absent until it is done, and when it threw
    std::exception_ptr error;

    // What it threw, as an E; null when it threw nothing or something else.
    template <typename E>
    [[nodiscard]] std::unique_ptr<E> thrown() const {
        try {
            if (error)
                std::rethrow_exception(error);
        } catch (const E &caught) {
            return std::make_unique<E>(caught);
        } catch (...) {
        }
        return nullptr;
    }
};

// Runs a task on; the outcome fills itself as events are handled.
template <typename T>
std::shared_ptr<const Outcome<T>> started(QCoro::Task<T> task) {
    auto outcome = std::make_shared<Outcome<T>>();
    [](QCoro::Task<T> running, std::shared_ptr<Outcome<T>> result) -> QCoro::Task<> {
        try {
            result->value = co_await running;
        } catch (...) {
            result->error = std::current_exception();
        }
        result->isDone = true;
    }(std::move(task), outcome);
    return outcome;
}

// A task without a value has true instead.
inline std::shared_ptr<const Outcome<bool>> started(QCoro::Task<> task) {
    return started([](QCoro::Task<> running) -> QCoro::Task<bool> {
        co_await running;
        co_return true;
    }(std::move(task)));
}

} // namespace quillmount
