// SPDX-License-Identifier: LicenseRef-Quillmount
#pragma once

#include <QColor>
#include <QIcon>
#include <QImage>
#include <QString>

namespace quillmount {

// The application's own small drawings, by the names of `Resources/Symbols`. In a drawing black is ink and white is cut
// out of it.
namespace SymbolImage {

// The symbol in one colour, as a square of so many pixels. Empty, with a warning, when there is no such symbol.
[[nodiscard]] QImage tinted(const QString &name, int pixels, const QColor &color);
// The application's icon, in its own colours; as a square of so many pixels.
[[nodiscard]] QIcon application();
[[nodiscard]] QImage application(int pixels);

} // namespace SymbolImage
} // namespace quillmount
