// SPDX-License-Identifier: LicenseRef-Quillmount
#pragma once

#include "GoogleStandIn/DriveEntry.h"
#include "GoogleStandIn/Journal.h"
#include "GoogleStandIn/StateFolder.h"

#include <QHash>
#include <QSet>
#include <QString>

#include <map>
#include <memory>
#include <optional>

namespace quillmount::standin {

// One step of the drive, done whole or not at all: entries in their new form, entries that end, one rename on the disk
// (paths relative to the state folder).
struct Transaction {
    QList<DriveEntry> put = {};
    QStringList drop = {};
    QString moveFrom = {};
    QString moveTo = {};
};

// The drive's content in memory, its journal and its picture on the disk. Not thread-safe: the store guards it.
class DriveTree {
public:
    struct Node {
        DriveEntry entry;
        std::map<qint64, Node *> children; // By ordinal, trashed ones too.
        QHash<QString, Node *> onDisk;     // By name on the disk; not those that lie in the trash.
    };
    // The last thing that happened to a file, for the list of changes.
    struct Change {
        QString id = {};
        QString app = {}; // Of an entry that has ended.
        qint64 timeMs = 0;
    };

    // Reads the journal and finishes a rename that a kill cut off. Throws StartError.
    explicit DriveTree(const StateFolder &folder);

    Node &root() { return *m_root; }
    // Null when there is none.
    Node *find(const QString &id) const;
    Node *parentOf(const Node &node) const { return find(node.entry.parentId); }
    // Trashed itself or by way of a folder above it.
    bool isTrashed(const Node &node) const;
    bool isBelow(const Node &node, const Node &ancestor) const;
    const std::map<qint64, Node *> &all() const { return m_all; }
    const std::map<qint64, Change> &changes() const { return m_changes; }
    qint64 sequence() const { return m_sequence; }

    // Where it lies, relative to the state folder.
    QString pathOf(const Node &node) const;
    QString absolute(const QString &relative) const { return m_folder.path() + u'/' + relative; }
    // A name that is free in the folder (or, with `inTrash`, in the trash) for an entry of that name.
    QString freeDiskName(const Node &parent, bool inTrash, const QString &name) const;
    Node *findByInode(quint64 inode) const { return m_byInode.value(inode); }
    QString newStagingPath();

    // Writes the journal, makes the rename, then changes the memory. Throws ApiError (500), with nothing changed.
    void apply(Transaction transaction);

    qint64 quotaLimit() const { return m_quotaLimit; }
    void setQuotaLimit(qint64 bytes);
    qint64 usedBytes() const { return m_used; }
    qint64 usedBytesInTrash() const;

    static DiskStamp stampOf(const QString &absolutePath, bool *exists = nullptr, bool *isFolder = nullptr);
    static QString newId();

private:
    void replay(const QJsonObject &record, bool last);
    void put(DriveEntry entry);
    void drop(const QString &id, qint64 sequence, qint64 timeMs);
    void link(Node &node);
    void unlink(Node &node);
    void compact();
    void makeRoot();

    const StateFolder &m_folder;
    Journal m_journal;
    std::map<QString, std::unique_ptr<Node>> m_nodes;
    std::map<qint64, Node *> m_all;
    QHash<QString, Node *> m_trashOnDisk;
    QHash<quint64, Node *> m_byInode;
    std::map<qint64, Change> m_changes;
    Node *m_root = nullptr;
    qint64 m_sequence = 0;
    qint64 m_ordinal = 0;
    qint64 m_used = 0;
    qint64 m_quotaLimit = 15'000'000'000;
    qint64 m_staged = 0;
};

} // namespace quillmount::standin
