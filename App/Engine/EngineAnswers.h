// SPDX-License-Identifier: LicenseRef-Quillmount
#pragma once

#include "App/Engine/DriveState.h"

#include <QJsonObject>
#include <QList>
#include <QString>
#include <QUrl>

#include <optional>

namespace quillmount {

// What the engine is asked at each poll, and what its answers say. A figure that is missing or of another type is 0.
namespace EngineAnswers {

// Parameters of "operations/about" and "operations/list".
[[nodiscard]] QJsonObject aboutQuestion();
[[nodiscard]] QJsonObject listQuestion();

// "vfs/stats": the uploads and the bytes in the cache; absent when the engine has not told them.
[[nodiscard]] std::optional<DriveStats> cacheFigures(const QJsonObject &vfsStats);

// Files that the engine has moved out of the cache because their place there was damaged.
struct RecoveredFiles {
    QString folder;
    qint64 count = 0;
};
[[nodiscard]] std::optional<RecoveredFiles> recoveredFiles(const QJsonObject &vfsStats);

// "core/stats": the speed, the first five uploads in progress, and whether Google refuses the account.
[[nodiscard]] double bytesPerSecond(const QJsonObject &coreStats);
[[nodiscard]] QList<DriveTransfer> transfers(const QJsonObject &coreStats);
[[nodiscard]] ErrorMapper::Kind lastError(const QJsonObject &coreStats);

// "operations/about"; absent when it names no total.
[[nodiscard]] std::optional<DriveQuota> quota(const QJsonObject &about);

// "operations/list": the web address of the drive's folder; absent when the folder is not in the list, invalid when its
// ID forms no address.
[[nodiscard]] std::optional<QUrl> folderURL(const QJsonObject &listing);

} // namespace EngineAnswers
} // namespace quillmount
