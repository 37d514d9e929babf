// SPDX-License-Identifier: LicenseRef-Quillmount
#pragma once

namespace quillmount {

// The file that the engine writes its log to.
namespace EngineLog {

// Before each launch, since what an earlier run reported must not explain the end of this one: leaves an empty log that
// the user alone can read (mode 0600), and keeps one old log.
void rotate();

} // namespace EngineLog
} // namespace quillmount
