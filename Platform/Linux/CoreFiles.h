// SPDX-License-Identifier: LicenseRef-Quillmount
#pragma once

namespace quillmount {

// Keeps what is in the memory of this process, and of the children that it starts, out of core files.
void disableCoreFiles();

// Gives this process the limit on core files back that `disableCoreFiles` found: in a child, between fork and exec, for
// a program that is the user's and not ours.
void restoreCoreFiles();

} // namespace quillmount
