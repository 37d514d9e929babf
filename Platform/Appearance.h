// SPDX-License-Identifier: LicenseRef-Quillmount
#pragma once

#include <QObject>

namespace quillmount {

// How the desktop wants to look. Asking never blocks; until the desktop has answered, a guess is told.
class Appearance : public QObject {
    Q_OBJECT

public:
    enum class ColorScheme {
        light,
        dark,
    };

    using QObject::QObject;

    [[nodiscard]] virtual ColorScheme colorScheme() const = 0;
    // Whether the user wants no motion that is not needed.
    [[nodiscard]] virtual bool reducesMotion() const = 0;

Q_SIGNALS:
    void colorSchemeChanged();
    void reduceMotionChanged();
};

} // namespace quillmount
