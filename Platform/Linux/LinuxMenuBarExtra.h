// SPDX-License-Identifier: LicenseRef-Quillmount
#pragma once

#include "Platform/Clock.h"
#include "Platform/MenuBarExtra.h"

namespace quillmount {

class LinuxMenuBarExtra final : public MenuBarExtra {
    Q_OBJECT

public:
    explicit LinuxMenuBarExtra(Clock &) {}

    [[nodiscard]] bool isAvailable() const override { return false; }
    void setImage(const QList<QImage> &) override {}
    void setToolTip(const QString &, const QString &) override {}
    void setMenu(const QList<MenuItem> &) override {}
    void hide() override {}
};

} // namespace quillmount
