// SPDX-License-Identifier: LicenseRef-Quillmount
#pragma once

#include <QString>

namespace quillmount {

// A count of bytes for the user, in decimal units with a point in every locale: "1 KB", "2.5 MB", "1.25 TB". Whole
// kilobytes, at most one digit after the point for megabytes and two above; something is never told as nothing. A
// negative count is taken for none.
[[nodiscard]] QString byteText(qint64 bytes);

} // namespace quillmount
