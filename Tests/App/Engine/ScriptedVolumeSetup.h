// SPDX-License-Identifier: LicenseRef-Quillmount
#pragma once

#include "App/Support/VolumeSetup.h"
#include "Platform/OneShot.h"

#include <optional>
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
        m_run = OneShot<End>();
        OneShot<End> run = *m_run;
        const End end = co_await run;
        if (end == End::failed)
            throw std::runtime_error("the set-up broke");
        co_return end == End::completed;
    }

    void setAvailable(bool available) { m_available = available; }
    void setInstalled(bool installed, bool resolves) {
        m_installed = installed;
        m_resolves = resolves;
    }

    // Ends the run that waits: completed, declined, or with an error.
    void complete() { end(End::completed); }
    void decline() { end(End::declined); }
    void fail() { end(End::failed); }

    [[nodiscard]] int runs() const { return m_runs; }
    [[nodiscard]] bool isRunning() const { return m_run.has_value(); }
    // What `waitUntilReady` was last called with; 0 when it was not.
    [[nodiscard]] double readyTimeout() const { return m_readyTimeout; }

private:
    enum class End { completed, declined, failed };

    void end(End how) {
        if (auto run = std::exchange(m_run, std::nullopt))
            run->set(how);
    }

    bool m_available = false;
    bool m_installed = false;
    bool m_resolves = false;
    double m_readyTimeout = 0;
    int m_runs = 0;
    std::optional<OneShot<End>> m_run;
};

} // namespace quillmount
