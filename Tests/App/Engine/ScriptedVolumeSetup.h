// SPDX-License-Identifier: LicenseRef-Quillmount
#pragma once

#include "App/Support/VolumeSetup.h"
#include "Platform/OneShot.h"
#include "Platform/Platform.h"

#include <QDir>

#include <optional>
#include <stdexcept>
#include <utility>

namespace quillmount {

// A set-up whose answers a test chooses. `run` and `remove` wait until the test lets them end.
class ScriptedVolumeSetup final : public VolumeSetup {
public:
    // In the home, and made by `setInstalled`.
    [[nodiscard]] QString point() const override {
        return Platform::current().directories->home() + QStringLiteral("/Volumes/Quillmount");
    }
    [[nodiscard]] bool isAvailable() const override { return m_available; }
    [[nodiscard]] bool offersAtStart() const override { return m_offers; }
    [[nodiscard]] bool isInstalled() const override { return m_installed; }
    [[nodiscard]] QCoro::Task<bool> resolvesLocally() override { co_return m_installed &&m_resolves; }
    [[nodiscard]] bool isReady() const override { return m_installed; }
    bool waitUntilReady(double seconds) override {
        m_readyTimeout = seconds;
        return true;
    }
    QCoro::Task<Outcome> run() override {
        ++m_runs;
        return open();
    }
    [[nodiscard]] bool isRemovable() const override { return m_available && m_installed; }
    QCoro::Task<Outcome> remove() override {
        ++m_removals;
        return open();
    }
    void removeSidebarEntry() override { m_hasSidebarEntry = false; }
    void cancel() override { end(Outcome::declined); }

    // Available and, unless it says otherwise, offered by the first start.
    void setAvailable(bool available, bool offers = true) {
        m_available = available;
        m_offers = offers;
    }
    void setInstalled(bool installed, bool resolves) {
        m_installed = installed;
        m_resolves = resolves;
        if (installed)
            QDir().mkpath(point());
    }

    // Ends the run that waits.
    void end(Outcome outcome) {
        if (auto question = std::exchange(m_question, std::nullopt))
            question->set(outcome);
    }
    // Lets it end with an error.
    void fail() { end(Outcome(-1)); }

    [[nodiscard]] int runs() const { return m_runs; }
    [[nodiscard]] int removals() const { return m_removals; }
    [[nodiscard]] bool isRunning() const { return m_question.has_value(); }
    [[nodiscard]] bool hasSidebarEntry() const { return m_hasSidebarEntry; }
    // What `waitUntilReady` was last called with; 0 when it was not.
    [[nodiscard]] double readyTimeout() const { return m_readyTimeout; }

private:
    QCoro::Task<Outcome> open() {
        OneShot<Outcome> question;
        m_question = question;
        const Outcome outcome = co_await question;
        if (outcome == Outcome(-1))
            throw std::runtime_error("the set-up broke");
        co_return outcome;
    }

    bool m_available = false;
    bool m_offers = true;
    bool m_installed = false;
    bool m_resolves = false;
    bool m_hasSidebarEntry = true;
    double m_readyTimeout = 0;
    int m_runs = 0;
    int m_removals = 0;
    std::optional<OneShot<Outcome>> m_question;
};

} // namespace quillmount
