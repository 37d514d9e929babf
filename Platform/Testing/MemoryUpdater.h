// SPDX-License-Identifier: LicenseRef-Quillmount
#pragma once

#include "Platform/Updater.h"

namespace quillmount {

// Has a feed, and counts the checks; what they find is a test's to say.
class MemoryUpdater final : public Updater {
public:
    [[nodiscard]] bool hasFeed() const override { return m_hasFeed; }
    void check() override {
        if (!m_hasFeed || state().status == Status::checking)
            return;
        ++m_checks;
        setState({Status::checking, {}, {}});
    }

    void setHasFeed(bool has) { m_hasFeed = has; }
    void finish(const State &state) { setState(state); }
    [[nodiscard]] int checks() const { return m_checks; }

private:
    bool m_hasFeed = true;
    int m_checks = 0;
};

} // namespace quillmount
