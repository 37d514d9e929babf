// SPDX-License-Identifier: LicenseRef-Quillmount
#pragma once

#include "App/Support/VolumeSetup.h"

#include <coroutine>
#include <stdexcept>
#include <utility>

namespace quillmount {

// A set-up whose answers a test chooses. `run` waits until the test lets it end.
class ScriptedVolumeSetup final : public VolumeSetup {
public:
    [[nodiscard]] bool isAvailable() const override { return m_available; }
    [[nodiscard]] bool isInstalled() const override { return m_installed; }
    [[nodiscard]] bool resolvesLocally() const override { return m_resolves; }
    bool waitUntilReady(double seconds) override {
        m_readyTimeout = seconds;
        return true;
    }
    QCoro::Task<bool> run() override {
        ++m_runs;
        co_await Answer{this};
        if (m_fails)
            throw std::runtime_error("the set-up broke");
        co_return m_completed;
    }

    void setAvailable(bool available) { m_available = available; }
    void setInstalled(bool installed, bool resolves) {
        m_installed = installed;
        m_resolves = resolves;
    }

    // Ends the run that waits: completed, declined, or with an error.
    void complete() { end(true, false); }
    void decline() { end(false, false); }
    void fail() { end(false, true); }

    [[nodiscard]] int runs() const { return m_runs; }
    [[nodiscard]] bool isRunning() const { return bool(m_waiter); }
    // What `waitUntilReady` was last called with; 0 when it was not.
    [[nodiscard]] double readyTimeout() const { return m_readyTimeout; }

private:
    struct Answer {
        ScriptedVolumeSetup *setup;
        [[nodiscard]] bool await_ready() const { return false; }
        void await_suspend(std::coroutine_handle<> waiter) const { setup->m_waiter = waiter; }
        void await_resume() const {}
    };

    void end(bool completed, bool fails) {
        m_completed = completed;
        m_fails = fails;
        if (const auto waiter = std::exchange(m_waiter, {}))
            waiter.resume();
    }

    bool m_available = false;
    bool m_installed = false;
    bool m_resolves = false;
    bool m_completed = false;
    bool m_fails = false;
    double m_readyTimeout = 0;
    int m_runs = 0;
    std::coroutine_handle<> m_waiter;
};

} // namespace quillmount
