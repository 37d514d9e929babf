// SPDX-License-Identifier: LicenseRef-Quillmount
#pragma once

#include "App/UI/MenuPanel/DriveSnapshot.h"

#include <functional>
#include <optional>

namespace quillmount {

// Tells the user of a drive that failed while the panel is hidden, or nobody would ever know. Of one fault once: a
// retry that fails in the same way says nothing. To be offline is no such fault. That a fault told of has ended is told
// too.
class FaultNotifier {
public:
    // `isPanelVisible`: whether the user sees it in the panel anyway.
    explicit FaultNotifier(std::function<bool()> isPanelVisible);

    // The drive as it is now.
    void update(const DriveSnapshot &drive);

private:
    std::function<bool()> m_isPanelVisible;
    std::optional<ErrorMapper::Kind> m_known; // the fault that the user knows of, until it has ended
    bool m_hasTold = false;                   // by a notification
};

} // namespace quillmount
