// SPDX-License-Identifier: LicenseRef-Quillmount
#pragma once

#include "Platform/Directories.h"

#include <QByteArray>

namespace quillmount {

// What a mount carries of whose drive it is: other users, and other homes of this user, may have theirs at a mount
// point that belongs to the whole machine. 16 hexadecimal digits.
[[nodiscard]] QByteArray driveTag(const Directories &directories);

} // namespace quillmount
