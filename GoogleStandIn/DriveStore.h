// SPDX-License-Identifier: LicenseRef-Quillmount
#pragma once

#include "GoogleStandIn/DriveQuery.h"
#include "GoogleStandIn/DriveTree.h"

#include <mutex>

namespace quillmount::standin {

// On whose behalf a call is made.
struct Viewer {
    QString app;             // The client; with the scope drive.file it sees what it made itself.
    bool everything = false; // The scope of the whole drive.
};

// A file or folder as a call answers it.
struct FileView {
    DriveEntry entry;
    bool trashed = false; // Also by way of a folder above it.
};

struct FilePage {
    QList<FileView> files;
    QString nextPageToken; // Empty on the last page.
};

struct ChangeView {
    QString fileId;
    qint64 timeMs = 0;
    std::optional<FileView> file; // Nothing when the file has ended.
};

struct ChangePage {
    QList<ChangeView> changes;
    QString nextPageToken;     // Empty on the last page.
    QString newStartPageToken; // Empty on the others.
};

// Content that lies whole in the staging folder.
struct StagedFile {
    QString path; // Relative to the state folder.
    qint64 size = 0;
    QString md5;
};

// What a call sets; absent members stay as they are.
struct FilePatch {
    std::optional<QString> id; // New files only.
    std::optional<QString> name;
    std::optional<QString> mimeType;
    std::optional<qint64> createdMs; // New files only.
    std::optional<qint64> modifiedMs;
    std::optional<bool> trashed;
    std::optional<QStringList> parents; // New files only.
    QStringList addParents;
    QStringList removeParents;
};

struct Quota {
    qint64 limit = 0;
    qint64 used = 0;
    qint64 usedInTrash = 0;
};

// The drive: every call is one step under one lock. All methods throw ApiError.
class DriveStore {
public:
    // The tree, held for as long as the object lives.
    struct Access {
        std::unique_lock<std::mutex> lock;
        DriveTree &tree;
    };

    // Throws StartError.
    explicit DriveStore(const StateFolder &folder)
        : m_folder(folder)
        , m_tree(folder) {}

    FileView get(const Viewer &viewer, const QString &id);
    FilePage list(const Viewer &viewer, const QString &query, int pageSize, const QString &pageToken);
    FileView createFolder(const Viewer &viewer, const FilePatch &patch);
    FileView createFile(const Viewer &viewer, const FilePatch &patch, const StagedFile &content);
    FileView update(const Viewer &viewer, const QString &id, const FilePatch &patch, const StagedFile *content);
    // Ends a file or a folder with all that is in it, for good.
    void remove(const Viewer &viewer, const QString &id);
    void emptyTrash(const Viewer &viewer);
    // An open descriptor on the content, the caller's to close.
    int openContent(const Viewer &viewer, const QString &id, FileView *view);

    // What a call would refuse, before its content has come.
    void checkCreate(const Viewer &viewer, const FilePatch &patch, qint64 size);
    void checkUpdate(const Viewer &viewer, const QString &id, const FilePatch &patch, qint64 size);

    QString startPageToken();
    ChangePage changes(const Viewer &viewer, const QString &pageToken, int pageSize, bool includeRemoved);
    Quota quota();
    void setQuotaLimit(qint64 bytes);

    // A new path below the staging folder, relative to the state folder.
    QString newStagingPath();
    QString absolute(const QString &relative) const { return m_folder.path() + u'/' + relative; }
    Access access() { return {std::unique_lock(m_mutex), m_tree}; }
    // The lock must be held.
    static FileView view(const DriveTree &tree, const DriveTree::Node &node);

private:
    using Node = DriveTree::Node;

    Node &require(const Viewer &viewer, const QString &id);
    Node &requireFolder(const Viewer &viewer, const QString &id);
    Node &parentFor(const Viewer &viewer, const FilePatch &patch);
    DriveEntry newEntry(const Viewer &viewer, const FilePatch &patch, const Node &parent);
    void requireRoom(qint64 more);
    void replaceContent(Node &node, const FilePatch &patch, const StagedFile &content);
    void applyMetadata(const Viewer &viewer, Node &node, const FilePatch &patch);
    QString movedParent(const Viewer &viewer, const Node &node, const FilePatch &patch);
    void removeNode(Node &node);

    const StateFolder &m_folder;
    std::mutex m_mutex;
    DriveTree m_tree;
};

} // namespace quillmount::standin
