// SPDX-License-Identifier: LicenseRef-Quillmount
#pragma once

#include <QCoroTask>
#include <QStringList>

namespace quillmount {

// Deletes folders of the application's own, of any size, without keeping anybody waiting. What a link leads to stays
// where it leads out of the folder, and so does everything behind a mount inside it.
namespace FolderRemoval {

struct SetAside {
    bool isComplete = false; // nothing of the folder stands under its name any more, or it is empty
    QStringList toDelete;
};

// Takes the folder away at once, under another name beside it, so that nobody meets a half of it. A folder that cannot
// be renamed, being a link or a file system of its own, stays and only its entries are taken away.
[[nodiscard]] SetAside setAside(const QString &folder);

// What an earlier run has set aside of these folders and did not come to delete.
[[nodiscard]] QStringList leftOf(const QStringList &folders);

// Deletes on a thread. Resolves with the number of files and folders that could not be deleted, which is also logged.
[[nodiscard]] QCoro::Task<int> deleteAll(QStringList paths);

} // namespace FolderRemoval
} // namespace quillmount
