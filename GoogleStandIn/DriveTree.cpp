// SPDX-License-Identifier: LicenseRef-Quillmount
#include "DriveTree.h"

#include "GoogleStandIn/ApiError.h"
#include "GoogleStandIn/DiskName.h"
#include "GoogleStandIn/TimeText.h"

#include <QDir>
#include <QFile>
#include <QJsonArray>
#include <QRandomGenerator>

#include <fcntl.h>
#include <sys/stat.h>

using namespace Qt::StringLiterals;

namespace quillmount::standin {

namespace {
QString randomText(int length) {
    static const QString alphabet = u"ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789-_"_s;
    QString text;
    for (int i = 0; i < length; ++i)
        text += alphabet[QRandomGenerator::system()->bounded(64)];
    return text;
}

bool moveFile(const QString &from, const QString &to) {
    return ::rename(QFile::encodeName(from).constData(), QFile::encodeName(to).constData()) == 0;
}
} // namespace

QString DriveTree::newId() {
    return u'1' + randomText(32);
}

DriveTree::DriveTree(const StateFolder &folder)
    : m_folder(folder)
    , m_journal(folder.state() + u"/journal.jsonl"_s) {
    m_journal.load([this](const QJsonObject &record, bool last) { replay(record, last); });
    QDir(m_folder.staging()).removeRecursively();
    QDir().mkpath(m_folder.staging());
    if (!m_root)
        makeRoot();
    if (m_journal.records() > 1000 + 2 * qint64(m_nodes.size()))
        compact();
}

void DriveTree::makeRoot() {
    DriveEntry root;
    root.id = u"0A"_s + randomText(14) + u"PVA"_s;
    root.name = u"My Drive"_s;
    root.diskName = root.name;
    root.mimeType = QLatin1StringView(folderType);
    root.createdMs = root.modifiedMs = nowMs();
    apply({.put = {root}});
}

DriveTree::Node *DriveTree::find(const QString &id) const {
    const auto it = m_nodes.find(id);
    return it == m_nodes.end() ? nullptr : it->second.get();
}

bool DriveTree::isTrashed(const Node &node) const {
    for (const Node *at = &node; at; at = parentOf(*at)) {
        if (at->entry.trashed)
            return true;
    }
    return false;
}

bool DriveTree::isBelow(const Node &node, const Node &ancestor) const {
    const Node *at = &node;
    while (at && at != &ancestor)
        at = parentOf(*at);
    return at != nullptr;
}

QString DriveTree::pathOf(const Node &node) const {
    QString path = node.entry.diskName;
    for (const Node *at = &node; at != m_root; at = parentOf(*at)) {
        if (at->entry.trashed)
            return u"Trash/"_s + path;
        path = parentOf(*at)->entry.diskName + u'/' + path;
    }
    return path;
}

QString DriveTree::freeDiskName(const Node &parent, bool inTrash, const QString &name) const {
    const QString folder = inTrash ? u"Trash"_s : pathOf(parent);
    const QHash<QString, Node *> &taken = inTrash ? m_trashOnDisk : parent.onDisk;
    return freeNameFor(name, [&](const QString &candidate) {
        bool exists = false;
        stampOf(absolute(folder + u'/' + candidate), &exists);
        return exists || taken.contains(candidate);
    });
}

QString DriveTree::newStagingPath() {
    return u".state/staging/%1"_s.arg(++m_staged);
}

DiskStamp DriveTree::stampOf(const QString &absolutePath, bool *exists, bool *isFolder) {
    struct statx status {};
    const bool ok = ::statx(AT_FDCWD, QFile::encodeName(absolutePath).constData(), AT_SYMLINK_NOFOLLOW,
                            STATX_BASIC_STATS | STATX_BTIME, &status) == 0;
    if (exists)
        *exists = ok;
    if (isFolder)
        *isFolder = ok && S_ISDIR(status.stx_mode);
    const auto nanoseconds = [](const statx_timestamp &time) {
        return qint64(time.tv_sec) * 1'000'000'000 + time.tv_nsec;
    };
    if (!ok || S_ISDIR(status.stx_mode)) {
        // A folder's size and time change with its entries, which says nothing about the folder itself.
        return {.inode = status.stx_ino, .birthNs = nanoseconds(status.stx_btime)};
    }
    return {.inode = status.stx_ino,
            .birthNs = nanoseconds(status.stx_btime),
            .size = qint64(status.stx_size),
            .modifiedNs = nanoseconds(status.stx_mtime)};
}

void DriveTree::apply(Transaction transaction) {
    const qint64 time = nowMs();
    qint64 sequence = m_sequence;
    qint64 ordinal = m_ordinal;
    QJsonArray puts;
    for (DriveEntry &entry : transaction.put) {
        entry.changeSequence = ++sequence;
        if (entry.ordinal == 0)
            entry.ordinal = ++ordinal;
        puts.append(entry.toJson());
    }
    QJsonArray drops;
    for (const QString &id : std::as_const(transaction.drop)) {
        drops.append(QJsonObject{{"id"_L1, id}, {"sequence"_L1, ++sequence}});
    }
    QJsonObject record{{"time"_L1, time}, {"put"_L1, puts}};
    if (!drops.isEmpty())
        record.insert("drop"_L1, drops);
    if (!transaction.moveFrom.isEmpty()) {
        record.insert("from"_L1, transaction.moveFrom);
        record.insert("to"_L1, transaction.moveTo);
    }
    m_journal.append(record);
    if (!transaction.moveFrom.isEmpty() && !moveFile(absolute(transaction.moveFrom), absolute(transaction.moveTo))) {
        m_journal.withdraw();
        throw ApiError::internal(u"The local store is not writable"_s);
    }
    replay(record, false);
}

void DriveTree::replay(const QJsonObject &record, bool last) {
    if (record.contains("quotaLimit"_L1))
        m_quotaLimit = record.value("quotaLimit"_L1).toInteger();
    const qint64 time = record.value("time"_L1).toInteger();
    const QJsonArray puts = record.value("put"_L1).toArray();
    for (const QJsonValue &value : puts) {
        const DriveEntry entry = DriveEntry::fromJson(value.toObject());
        m_changes[entry.changeSequence] = {.id = entry.id, .app = {}, .timeMs = time};
        put(entry);
    }
    const QJsonArray drops = record.value("drop"_L1).toArray();
    for (const QJsonValue &value : drops)
        drop(value["id"_L1].toString(), value["sequence"_L1].toInteger(), time);
    const QJsonArray ended = record.value("ended"_L1).toArray();
    for (const QJsonValue &value : ended) {
        const qint64 sequence = value["sequence"_L1].toInteger();
        m_changes[sequence] = {.id = value["id"_L1].toString(), .app = value["app"_L1].toString(), .timeMs = time};
        m_sequence = std::max(m_sequence, sequence);
    }
    // Only the rename that belongs to the last record can be missing: they are made in the order of the records.
    const QString from = record.value("from"_L1).toString();
    if (last && !from.isEmpty() && QFile::exists(absolute(from)))
        moveFile(absolute(from), absolute(record.value("to"_L1).toString()));
}

void DriveTree::put(DriveEntry entry) {
    m_sequence = std::max(m_sequence, entry.changeSequence);
    m_ordinal = std::max(m_ordinal, entry.ordinal);
    std::unique_ptr<Node> &node = m_nodes[entry.id];
    if (node) {
        m_changes.erase(node->entry.changeSequence);
        unlink(*node);
    } else {
        node = std::make_unique<Node>();
    }
    node->entry = std::move(entry);
    link(*node);
}

void DriveTree::link(Node &node) {
    const DriveEntry &entry = node.entry;
    m_all[entry.ordinal] = &node;
    m_used += entry.size;
    if (entry.parentId.isEmpty()) {
        m_root = &node;
        return;
    }
    if (entry.stamp.inode != 0 && !entry.gone)
        m_byInode[entry.stamp.inode] = &node;
    Node *parent = parentOf(node);
    if (parent)
        parent->children[entry.ordinal] = &node;
    if (entry.gone)
        return;
    if (entry.trashed) {
        m_trashOnDisk[entry.diskName] = &node;
    } else if (parent) {
        parent->onDisk[entry.diskName] = &node;
    }
}

void DriveTree::unlink(Node &node) {
    const DriveEntry &entry = node.entry;
    const auto removeIf = [&node](auto &index, const auto &key) {
        if (index.value(key) == &node)
            index.remove(key);
    };
    m_all.erase(entry.ordinal);
    m_used -= entry.size;
    removeIf(m_byInode, entry.stamp.inode);
    removeIf(m_trashOnDisk, entry.diskName);
    if (Node *parent = parentOf(node)) {
        parent->children.erase(entry.ordinal);
        removeIf(parent->onDisk, entry.diskName);
    }
}

void DriveTree::drop(const QString &id, qint64 sequence, qint64 timeMs) {
    m_sequence = std::max(m_sequence, sequence);
    Node *node = find(id);
    if (!node)
        return;
    m_changes.erase(node->entry.changeSequence);
    m_changes[sequence] = {.id = id, .app = node->entry.app, .timeMs = timeMs};
    unlink(*node);
    m_nodes.erase(id);
}

void DriveTree::compact() {
    QList<QJsonObject> records;
    records.append({{"quotaLimit"_L1, m_quotaLimit}});
    QJsonArray ended;
    for (const auto &[sequence, change] : m_changes) {
        const Node *node = find(change.id);
        if (node)
            continue;
        ended.append(QJsonObject{{"id"_L1, change.id}, {"app"_L1, change.app}, {"sequence"_L1, sequence}});
    }
    records.append({{"time"_L1, nowMs()}, {"ended"_L1, ended}});
    // Parents first, so that each entry finds its folder when it is read back; a folder that was moved into a younger
    // one has the smaller ordinal.
    const auto write = [&](const auto &self, const Node &node) -> void {
        const auto change = m_changes.find(node.entry.changeSequence);
        const qint64 time = change == m_changes.end() ? node.entry.modifiedMs : change->second.timeMs;
        records.append({{"time"_L1, time}, {"put"_L1, QJsonArray{node.entry.toJson()}}});
        for (const auto &[ordinal, child] : node.children)
            self(self, *child);
    };
    write(write, *m_root);
    m_journal.rewrite(records);
}

void DriveTree::setQuotaLimit(qint64 bytes) {
    m_journal.append({{"quotaLimit"_L1, bytes}});
    m_quotaLimit = bytes;
}

qint64 DriveTree::usedBytesInTrash() const {
    qint64 bytes = 0;
    for (const auto &[ordinal, node] : m_all)
        bytes += isTrashed(*node) ? node->entry.size : 0;
    return bytes;
}

} // namespace quillmount::standin
