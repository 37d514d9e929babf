// SPDX-License-Identifier: LicenseRef-Quillmount
#pragma once

#include "Platform/Alerts.h"

namespace quillmount {

// Message boxes, and the notifications of the desktop. Without a session bus a notification is a line of the log: no
// bus is started for its sake.
class LinuxAlerts final : public Alerts {
public:
    [[nodiscard]] int ask(const QString &message, const QString &informative, const QStringList &buttons) override;
    void notify(const QString &title, const QString &text) override;
};

} // namespace quillmount
