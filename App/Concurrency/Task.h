// SPDX-License-Identifier: LicenseRef-Quillmount
#pragma once

#include <QCoroTask>

#include <stop_token>
#include <utility>

namespace quillmount {

// Starts a detached task. What escapes it is logged; it is never lost and never ends the program.
void spawn(QCoro::Task<> task);

// A task that its owner keeps and may cancel. Replacing or destroying the handle does not cancel: the owner decides.
// The task sees the cancellation through its stop token, which each of its sleeps ends at.
class TaskHandle {
public:
    TaskHandle() = default;

    // Starts `function(stop_token)`, a function that returns a Task. It runs up to its first suspension before `start`
    // returns, so the handle is made first: a task that looks at its owner's handle finds it set.
    template <typename Function>
    void start(Function &&function) {
        m_source = std::stop_source();
        spawn(std::forward<Function>(function)(m_source.get_token()));
    }

    // Harmless when there is no task or it has ended.
    void cancel() { m_source.request_stop(); }

private:
    std::stop_source m_source{std::nostopstate};
};

} // namespace quillmount
