// SPDX-License-Identifier: LicenseRef-Quillmount
#pragma once

#include <QString>

namespace quillmount {

// How many files, in words: "1 file", else the number and " files".
[[nodiscard]] inline QString fileCount(qint64 count) {
    return count == 1 ? QStringLiteral("1 file") : QString::number(count) + QStringLiteral(" files");
}

} // namespace quillmount
