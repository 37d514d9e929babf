// SPDX-License-Identifier: LicenseRef-Quillmount
#pragma once

#include <QString>

namespace quillmount {

// Makes a folder and its missing parents, each readable by the user alone (mode 0700) as the base-directory rules ask.
// Folders that exist keep their mode. False when it is not there afterwards; errno says why.
bool makePrivateFolder(const QString &path);

} // namespace quillmount
