// SPDX-License-Identifier: LicenseRef-Quillmount
#pragma once

#include "Platform/Bundle.h"
#include "Platform/Clock.h"
#include "Platform/Updater.h"

namespace quillmount {

// The feed is the value of "SUFeedURL" in the information dictionary.
class LinuxUpdater final : public Updater {
    Q_OBJECT

public:
    // Both are to outlive it.
    LinuxUpdater(Clock &clock, const Bundle &bundle);

    [[nodiscard]] bool hasFeed() const override { return !m_feed.isEmpty(); }
    void check() override;

private:
    Clock &m_clock;
    QUrl m_feed;
};

} // namespace quillmount
