// SPDX-License-Identifier: LicenseRef-Quillmount
#pragma once

#include "Mount/InodeTable.h"
#include "Mount/Request.h"

namespace quillmount::mount {

// What the kernel is told of a file: what the server said last of it (`heard`), put right by what was done here.
struct stat statOf(const Inode &inode);

// The entry of a file. The kernel counts it as one look-up, which the inode table has to know of.
fuse_entry_param entryOf(const Inode &inode);

} // namespace quillmount::mount
