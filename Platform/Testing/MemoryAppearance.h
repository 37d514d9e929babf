// SPDX-License-Identifier: LicenseRef-Quillmount
#pragma once

#include "Platform/Appearance.h"

namespace quillmount {

// Light and in motion, until a test says otherwise.
class MemoryAppearance final : public Appearance {
public:
    [[nodiscard]] ColorScheme colorScheme() const override { return m_colorScheme; }
    [[nodiscard]] bool reducesMotion() const override { return m_reducesMotion; }

    void setColorScheme(ColorScheme scheme) {
        m_colorScheme = scheme;
        Q_EMIT colorSchemeChanged();
    }
    void setReducesMotion(bool reduces) {
        m_reducesMotion = reduces;
        Q_EMIT reduceMotionChanged();
    }

private:
    ColorScheme m_colorScheme = ColorScheme::light;
    bool m_reducesMotion = false;
};

} // namespace quillmount
