// SPDX-License-Identifier: LicenseRef-Quillmount
#pragma once

#include "Platform/Appearance.h"

namespace quillmount {

// What the colours of the desktop's theme say: a dark window means a dark appearance.
class LinuxAppearance final : public Appearance {
    Q_OBJECT

public:
    LinuxAppearance();

    [[nodiscard]] ColorScheme colorScheme() const override { return m_colorScheme; }
    [[nodiscard]] bool reducesMotion() const override { return false; }

    bool eventFilter(QObject *watched, QEvent *event) override;

private:
    [[nodiscard]] static ColorScheme schemeOfTheme();

    ColorScheme m_colorScheme;
};

} // namespace quillmount
