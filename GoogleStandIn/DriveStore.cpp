// SPDX-License-Identifier: LicenseRef-Quillmount
#include "DriveStore.h"

#include "GoogleStandIn/ApiError.h"
#include "GoogleStandIn/TimeText.h"

#include <QDir>
#include <QFile>

#include <fcntl.h>
#include <sys/stat.h>

#include <algorithm>

using namespace Qt::StringLiterals;

namespace quillmount::standin {

namespace {
bool sees(const Viewer &viewer, const DriveEntry &entry) {
    return viewer.everything || entry.app.isEmpty() || entry.app == viewer.app || entry.parentId.isEmpty();
}

// The time of a file on the disk is the one that the user sees in a file manager; it follows the drive's.
void setDiskTime(const QString &path, qint64 ms) {
    const timespec time{.tv_sec = time_t(ms / 1000), .tv_nsec = long(ms % 1000) * 1'000'000};
    const timespec times[2] = {time, time};
    ::utimensat(AT_FDCWD, QFile::encodeName(path).constData(), times, AT_SYMLINK_NOFOLLOW);
}

QString makePageToken(const QString &query, qint64 ordinal) {
    const QByteArray text = QByteArray::number(ordinal) + ':' + QByteArray::number(qHash(query, 7), 16);
    return QString::fromLatin1(text.toBase64(QByteArray::Base64UrlEncoding | QByteArray::OmitTrailingEquals));
}

qint64 readPageToken(const QString &query, const QString &token) {
    if (token.isEmpty())
        return 0;
    const qint64 ordinal =
        QByteArray::fromBase64(token.toLatin1(), QByteArray::Base64UrlEncoding).split(':').value(0).toLongLong();
    // A token is good for the search that it was made for, and for no other.
    if (ordinal <= 0 || makePageToken(query, ordinal) != token)
        throw ApiError::invalidParameter(u"pageToken"_s, token);
    return ordinal;
}
} // namespace

FileView DriveStore::view(const DriveTree &tree, const Node &node) {
    return {node.entry, tree.isTrashed(node)};
}

DriveStore::Node &DriveStore::require(const Viewer &viewer, const QString &id) {
    Node *node = id == "root"_L1 ? &m_tree.root() : m_tree.find(id);
    if (!node || !sees(viewer, node->entry))
        throw ApiError::fileNotFound(id);
    return *node;
}

DriveStore::Node &DriveStore::requireFolder(const Viewer &viewer, const QString &id) {
    Node &node = require(viewer, id);
    if (!node.entry.isFolder())
        throw ApiError(403, u"parentNotAFolder"_s, u"The specified parent is not a folder."_s);
    for (const Node *at = &node; at; at = m_tree.parentOf(*at)) {
        if (at->entry.gone)
            throw ApiError::fileNotFound(id);
    }
    return node;
}

DriveStore::Node &DriveStore::parentFor(const Viewer &viewer, const FilePatch &patch) {
    const QStringList parents = patch.parents.value_or(QStringList{u"root"_s});
    if (parents.size() > 1)
        throw ApiError(403, u"multipleParentsNotSupported"_s, u"A file has one parent."_s);
    return requireFolder(viewer, parents.value(0, u"root"_s));
}

void DriveStore::requireRoom(qint64 more) {
    if (more > 0 && m_tree.quotaLimit() > 0 && m_tree.usedBytes() + more > m_tree.quotaLimit())
        throw ApiError::quotaExceeded();
}

FileView DriveStore::get(const Viewer &viewer, const QString &id) {
    const std::lock_guard lock(m_mutex);
    return view(m_tree, require(viewer, id));
}

FilePage DriveStore::list(const Viewer &viewer, const QString &text, int pageSize, const QString &pageToken) {
    const std::lock_guard lock(m_mutex);
    DriveQuery query;
    if (!text.isEmpty())
        query = DriveQuery::parse(text).withParentAlias(u"root"_s, m_tree.root().entry.id);
    const qint64 after = readPageToken(text, pageToken);
    QList<const Node *> found;
    const auto collect = [&](const std::map<qint64, Node *> &candidates) {
        int room = pageSize + 1;
        for (auto it = candidates.upper_bound(after); it != candidates.end() && room > 0; ++it) {
            const DriveEntry &entry = it->second->entry;
            const QuerySubject subject{.name = entry.name,
                                       .mimeType = entry.mimeType,
                                       .parentId = entry.parentId,
                                       .trashed = m_tree.isTrashed(*it->second),
                                       .modifiedMs = entry.modifiedMs,
                                       .createdMs = entry.createdMs};
            if (!entry.parentId.isEmpty() && sees(viewer, entry) && query.matches(subject)) {
                found.append(it->second);
                --room;
            }
        }
    };
    if (const std::optional<QStringList> parents = query.parents()) {
        for (const QString &id : *parents)
            collect(require(viewer, id).children);
        std::sort(found.begin(), found.end(),
                  [](const Node *a, const Node *b) { return a->entry.ordinal < b->entry.ordinal; });
    } else {
        collect(m_tree.all());
    }
    FilePage page;
    for (const Node *node : std::as_const(found)) {
        if (page.files.size() == pageSize) {
            page.nextPageToken = makePageToken(text, page.files.last().entry.ordinal);
            break;
        }
        page.files.append(view(m_tree, *node));
    }
    return page;
}

DriveEntry DriveStore::newEntry(const Viewer &viewer, const FilePatch &patch, const Node &parent) {
    DriveEntry entry;
    entry.id = patch.id.value_or(DriveTree::newId());
    if (m_tree.find(entry.id))
        throw ApiError(409, u"fileIdInUse"_s, u"A file already exists with the provided ID."_s);
    entry.name = patch.name.value_or(u"Untitled"_s);
    entry.mimeType = patch.mimeType.value_or(u"application/octet-stream"_s);
    entry.parentId = parent.entry.id;
    entry.diskName = m_tree.freeDiskName(parent, false, entry.name);
    entry.app = viewer.app;
    entry.createdMs = patch.createdMs.value_or(nowMs());
    entry.modifiedMs = patch.modifiedMs.value_or(nowMs());
    return entry;
}

FileView DriveStore::createFolder(const Viewer &viewer, const FilePatch &patch) {
    const std::lock_guard lock(m_mutex);
    const Node &parent = parentFor(viewer, patch);
    DriveEntry entry = newEntry(viewer, patch, parent);
    const QString staged = m_tree.newStagingPath();
    QDir().mkdir(absolute(staged));
    entry.stamp = DriveTree::stampOf(absolute(staged));
    m_tree.apply({.put = {entry}, .moveFrom = staged, .moveTo = m_tree.pathOf(parent) + u'/' + entry.diskName});
    return view(m_tree, *m_tree.find(entry.id));
}

FileView DriveStore::createFile(const Viewer &viewer, const FilePatch &patch, const StagedFile &content) {
    const std::lock_guard lock(m_mutex);
    const Node &parent = parentFor(viewer, patch);
    requireRoom(content.size);
    DriveEntry entry = newEntry(viewer, patch, parent);
    entry.size = content.size;
    entry.md5 = content.md5;
    setDiskTime(absolute(content.path), entry.modifiedMs);
    entry.stamp = DriveTree::stampOf(absolute(content.path));
    m_tree.apply({.put = {entry},

                  .moveFrom = content.path,
                  .moveTo = m_tree.pathOf(parent) + u'/' + entry.diskName});
    return view(m_tree, *m_tree.find(entry.id));
}

void DriveStore::checkCreate(const Viewer &viewer, const FilePatch &patch, qint64 size) {
    const std::lock_guard lock(m_mutex);
    parentFor(viewer, patch);
    requireRoom(size);
}

void DriveStore::checkUpdate(const Viewer &viewer, const QString &id, const FilePatch &patch, qint64 size) {
    const std::lock_guard lock(m_mutex);
    const Node &node = require(viewer, id);
    if (node.entry.isFolder() || node.entry.gone)
        throw ApiError(403, u"fileNotUploadable"_s, u"The file cannot have content."_s);
    movedParent(viewer, node, patch);
    requireRoom(size - node.entry.size);
}

FileView DriveStore::update(const Viewer &viewer, const QString &id, const FilePatch &patch,
                            const StagedFile *content) {
    if (content)
        checkUpdate(viewer, id, patch, content->size);
    const std::lock_guard lock(m_mutex);
    Node &node = require(viewer, id);
    if (node.entry.parentId.isEmpty())
        throw ApiError(403, u"insufficientFilePermissions"_s, u"The root folder cannot be changed."_s);
    movedParent(viewer, node, patch);
    if (content)
        replaceContent(node, patch, *content);
    applyMetadata(viewer, node, patch);
    return view(m_tree, node);
}

void DriveStore::replaceContent(Node &node, const FilePatch &patch, const StagedFile &content) {
    DriveEntry entry = node.entry;
    entry.size = content.size;
    entry.md5 = content.md5;
    entry.modifiedMs = patch.modifiedMs.value_or(nowMs());
    if (patch.mimeType)
        entry.mimeType = *patch.mimeType;
    setDiskTime(absolute(content.path), entry.modifiedMs);
    entry.stamp = DriveTree::stampOf(absolute(content.path));
    m_tree.apply({.put = {entry}, .moveFrom = content.path, .moveTo = m_tree.pathOf(node)});
}

QString DriveStore::movedParent(const Viewer &viewer, const Node &node, const FilePatch &patch) {
    const QString current = node.entry.parentId;
    QString target = current;
    const auto idOf = [this](const QString &id) { return id == "root"_L1 ? m_tree.root().entry.id : id; };
    bool leaves = false;
    for (const QString &id : patch.removeParents)
        leaves = leaves || idOf(id) == current;
    for (const QString &id : patch.addParents) {
        const Node &parent = requireFolder(viewer, id);
        if (parent.entry.id == current) {
            // Named on both sides: the file stays where it is.
            leaves = false;
            continue;
        }
        if (!leaves || target != current)
            throw ApiError(403, u"cannotAddParent"_s, u"Increasing the number of parents is not allowed"_s);
        if (m_tree.isBelow(parent, node))
            throw ApiError(403, u"cyclicMembershipsNotAllowed"_s, u"A folder cannot be moved into itself."_s);
        target = parent.entry.id;
    }
    if (leaves && target == current)
        throw ApiError(403, u"cannotRemoveParent"_s, u"A file cannot be without a parent."_s);
    return target;
}

void DriveStore::applyMetadata(const Viewer &viewer, Node &node, const FilePatch &patch) {
    DriveEntry entry = node.entry;
    entry.parentId = movedParent(viewer, node, patch);
    entry.name = patch.name.value_or(entry.name);
    entry.trashed = patch.trashed.value_or(entry.trashed);
    if (patch.mimeType && !entry.isFolder() && *patch.mimeType != QLatin1StringView(folderType))
        entry.mimeType = *patch.mimeType;
    if (entry.gone && !entry.trashed)
        throw ApiError::fileNotFound(entry.id);
    entry.modifiedMs = patch.modifiedMs.value_or(entry.modifiedMs);
    const QString from = m_tree.pathOf(node);
    if (entry.modifiedMs != node.entry.modifiedMs && !entry.isFolder() && !entry.gone) {
        setDiskTime(absolute(from), entry.modifiedMs);
        entry.stamp = DriveTree::stampOf(absolute(from));
    }
    Transaction step;
    const bool moves = entry.parentId != node.entry.parentId || entry.trashed != node.entry.trashed;
    if (!entry.gone && (moves || entry.name != node.entry.name)) {
        const Node &parent = *m_tree.find(entry.parentId);
        entry.diskName = m_tree.freeDiskName(parent, entry.trashed, entry.name);
        step.moveFrom = from;
        step.moveTo = (entry.trashed ? u"Trash"_s : m_tree.pathOf(parent)) + u'/' + entry.diskName;
    }
    step.put = {entry};
    m_tree.apply(step);
}

void DriveStore::remove(const Viewer &viewer, const QString &id) {
    const std::lock_guard lock(m_mutex);
    removeNode(require(viewer, id));
}

void DriveStore::removeNode(Node &node) {
    if (node.entry.parentId.isEmpty())
        throw ApiError(403, u"insufficientFilePermissions"_s, u"The root folder cannot be deleted."_s);
    Transaction step;
    const auto collect = [&step](const auto &self, const Node &at) -> void {
        for (const auto &[ordinal, child] : at.children)
            self(self, *child);
        step.drop.append(at.entry.id);
    };
    collect(collect, node);
    const QString staged = m_tree.newStagingPath();
    if (!node.entry.gone) {
        step.moveFrom = m_tree.pathOf(node);
        step.moveTo = staged;
    }
    m_tree.apply(step);
    QFile::remove(absolute(staged));
    QDir(absolute(staged)).removeRecursively();
}

void DriveStore::emptyTrash(const Viewer &viewer) {
    const std::lock_guard lock(m_mutex);
    QStringList ids;
    for (const auto &[ordinal, node] : m_tree.all()) {
        if (node->entry.trashed && sees(viewer, node->entry))
            ids.append(node->entry.id);
    }
    for (const QString &id : std::as_const(ids)) {
        if (Node *node = m_tree.find(id))
            removeNode(*node);
    }
}

int DriveStore::openContent(const Viewer &viewer, const QString &id, FileView *out) {
    const std::lock_guard lock(m_mutex);
    const Node &node = require(viewer, id);
    if (node.entry.isFolder())
        throw ApiError(403, u"fileNotDownloadable"_s, u"Only files with binary content can be downloaded."_s);
    const int fd =
        ::open(QFile::encodeName(absolute(m_tree.pathOf(node))).constData(), O_RDONLY | O_CLOEXEC | O_NOFOLLOW);
    if (fd < 0)
        throw ApiError::fileNotFound(id);
    *out = view(m_tree, node);
    return fd;
}

QString DriveStore::startPageToken() {
    const std::lock_guard lock(m_mutex);
    return QString::number(m_tree.sequence() + 1);
}

ChangePage DriveStore::changes(const Viewer &viewer, const QString &pageToken, int pageSize, bool includeRemoved) {
    const std::lock_guard lock(m_mutex);
    bool ok = false;
    const qint64 from = pageToken.toLongLong(&ok);
    if (!ok || from < 1 || from > m_tree.sequence() + 1)
        throw ApiError::invalidParameter(u"pageToken"_s, pageToken);
    ChangePage page;
    const auto &all = m_tree.changes();
    for (auto it = all.lower_bound(from); it != all.end(); ++it) {
        if (page.changes.size() == pageSize) {
            page.nextPageToken = QString::number(it->first);
            return page;
        }
        ChangeView change{.fileId = it->second.id, .timeMs = it->second.timeMs, .file = {}};
        const Node *node = m_tree.find(change.fileId);
        const QString &app = node ? node->entry.app : it->second.app;
        if (!(viewer.everything || app.isEmpty() || app == viewer.app) || (!node && !includeRemoved))
            continue;
        if (node)
            change.file = view(m_tree, *node);
        page.changes.append(change);
    }
    page.newStartPageToken = QString::number(m_tree.sequence() + 1);
    return page;
}

Quota DriveStore::quota() {
    const std::lock_guard lock(m_mutex);
    return {.limit = m_tree.quotaLimit(), .used = m_tree.usedBytes(), .usedInTrash = m_tree.usedBytesInTrash()};
}

void DriveStore::setQuotaLimit(qint64 bytes) {
    const std::lock_guard lock(m_mutex);
    m_tree.setQuotaLimit(bytes);
}

QString DriveStore::newStagingPath() {
    const std::lock_guard lock(m_mutex);
    return m_tree.newStagingPath();
}

} // namespace quillmount::standin
