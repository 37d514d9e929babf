// SPDX-License-Identifier: LicenseRef-Quillmount
#pragma once

#include "GoogleStandIn/DriveStore.h"

#include <QHash>
#include <QMap>

#include <atomic>
#include <thread>

namespace quillmount::standin {

// Takes what the user does by hand in the folder into the drive, where it becomes a change like any other: new,
// changed, renamed, moved and deleted files and folders. A file is taken when nobody has it open for writing any more.
//
// A file that is deleted by hand goes to the drive's trash without its content: a client then learns in which folder
// it was, which it does not learn of a file that ends for good.
class FolderSync {
public:
    // Takes in what happened while nobody looked, then watches. Throws StartError.
    FolderSync(DriveStore &store, const StateFolder &folder);
    ~FolderSync();
    FolderSync(const FolderSync &) = delete;
    FolderSync &operator=(const FolderSync &) = delete;

private:
    using Node = DriveTree::Node;

    void run();
    void readEvents();
    void watch(const QString &path);
    void forgetWatches(const QString &path);
    void markBelow(const QString &path);
    void markAll();
    void settle(qint64 quietMs);
    bool takePresent(const QString &path);
    void takeMissing(const QString &path);
    bool takeMoved(DriveTree &tree, Node &parent, const QString &name, const DiskStamp &stamp, bool folder);
    bool takeContent(const QString &path);
    void trashWithoutContent(DriveTree &tree, Node &node);
    static Node *nodeAt(DriveTree &tree, const QString &path);

    DriveStore &m_store;
    const StateFolder &m_folder;
    int m_inotify = -1;
    int m_wake = -1;
    QHash<int, QString> m_watched;
    QMap<QString, qint64> m_dirty; // Path (relative to the state folder) and when something last happened there.
    std::atomic<bool> m_stopping = false;
    std::thread m_thread;
};

} // namespace quillmount::standin
