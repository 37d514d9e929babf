// SPDX-License-Identifier: LicenseRef-Quillmount
#pragma once

namespace quillmount {

// What holds for every process that the application starts. Some of them outlive it, so they keep nothing of what it
// was started with: default signal dispositions, no descriptor but the three standard ones, and the root directory.
namespace ChildProcess {

inline constexpr const char *workingDirectory = "/";

// Before a start: makes ended children be kept until they are asked for. Who starts the application with SIGCHLD
// ignored would have the system forget them, and with them their exit status.
void keepEnded();

// In the child between fork and exec, where only what is safe there may be called. `inherited` is a descriptor that it
// keeps; -1 for none.
void prepare(int inherited);

} // namespace ChildProcess
} // namespace quillmount
