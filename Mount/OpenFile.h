// SPDX-License-Identifier: LicenseRef-Quillmount
#pragma once

#include "Mount/InodeTable.h"
#include "Mount/ReadAhead.h"

namespace quillmount::mount {

// One open file of a program.
struct OpenFile {
    InodePtr inode;
    std::shared_ptr<FileContent> content;
    ReadAhead ahead;
    std::uint64_t errorsSeen = 0;
    bool uncommitted = false; // written to since the server was last asked to close the file
};

using OpenFilePtr = std::shared_ptr<OpenFile>;

} // namespace quillmount::mount
