// SPDX-License-Identifier: LicenseRef-Quillmount
#pragma once

#include <QCoroTask>

namespace quillmount {

// What was saved to the drive and is not on Google Drive yet, as the engine's cache on disk knows it: the statistics of
// an engine say nothing once it has ended.
namespace PendingFiles {

// Counts on a thread. What says nothing that can be understood counts too: it may be a file of the user's. Compare with
// `DriveStats::pendingUploads`; the larger of the two is what the user is warned of.
[[nodiscard]] QCoro::Task<qint64> count();

} // namespace PendingFiles
} // namespace quillmount
