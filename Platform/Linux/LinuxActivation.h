// SPDX-License-Identifier: LicenseRef-Quillmount
#pragma once

#include "Platform/Activation.h"

namespace quillmount {

// Activation tokens of Wayland, and the ids of startup notification on X11.
class LinuxActivation final : public Activation {
public:
    // Notes the token of this process and takes it out of the environment, which the programs that it starts inherit.
    // Before the application object is made.
    static void keepStartToken();

    [[nodiscard]] QByteArray startToken() const override;
    void bringToFront(QWindow &window, const QByteArray &token) override;
    // False on Wayland alone.
    [[nodiscard]] bool placesWindows() const override;
};

} // namespace quillmount
