// SPDX-License-Identifier: LicenseRef-Quillmount
#include "FolderSync.h"

#include "GoogleStandIn/ApiError.h"
#include "GoogleStandIn/ContentWriter.h"
#include "GoogleStandIn/TimeText.h"

#include <QDirIterator>
#include <QFile>
#include <QMimeDatabase>
#include <QScopeGuard>

#include <fcntl.h>
#include <poll.h>
#include <sys/eventfd.h>
#include <sys/inotify.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>

using namespace Qt::StringLiterals;

namespace quillmount::standin {

namespace {
constexpr qint64 quietTimeMs = 150;
constexpr qint64 quietWithoutLeaseMs = 1500;
const QString top = u"My Drive"_s;

enum class Kind { missing, folder, file, other };

Kind kindOf(const QString &path) {
    struct stat status {};
    if (::lstat(QFile::encodeName(path).constData(), &status) != 0)
        return Kind::missing;
    return S_ISDIR(status.st_mode) ? Kind::folder : S_ISREG(status.st_mode) ? Kind::file : Kind::other;
}

enum class Writers { none, some, unknown };

// A read lease is given only while nobody has the file open for writing; that is the one sure sign that a copy is
// whole.
Writers writersOf(int descriptor) {
    if (::fcntl(descriptor, F_SETLEASE, F_RDLCK) == 0) {
        ::fcntl(descriptor, F_SETLEASE, F_UNLCK);
        return Writers::none;
    }
    return errno == EAGAIN ? Writers::some : Writers::unknown;
}

QString parentPath(const QString &path) {
    return path.left(path.lastIndexOf(u'/'));
}
QString lastName(const QString &path) {
    return path.mid(path.lastIndexOf(u'/') + 1);
}
} // namespace

FolderSync::FolderSync(DriveStore &store, const StateFolder &folder)
    : m_store(store)
    , m_folder(folder)
    , m_inotify(::inotify_init1(IN_NONBLOCK | IN_CLOEXEC))
    , m_wake(::eventfd(0, EFD_CLOEXEC)) {
    if (m_inotify < 0 || m_wake < 0)
        throw StartError(u"The folder %1 cannot be watched."_s.arg(folder.files()));
    watch(top);
    markAll();
    settle(0);
    m_thread = std::thread([this] { run(); });
}

FolderSync::~FolderSync() {
    m_stopping = true;
    ::eventfd_write(m_wake, 1);
    m_thread.join();
    ::close(m_inotify);
    ::close(m_wake);
}

void FolderSync::run() {
    while (!m_stopping) {
        pollfd wait[2] = {{m_inotify, POLLIN, 0}, {m_wake, POLLIN, 0}};
        ::poll(wait, 2, m_dirty.isEmpty() ? -1 : int(quietTimeMs) / 2);
        readEvents();
        settle(quietTimeMs);
    }
}

void FolderSync::watch(const QString &path) {
    const auto add = [this](const QString &relative) {
        const int id = ::inotify_add_watch(m_inotify, QFile::encodeName(m_store.absolute(relative)).constData(),
                                           IN_CREATE | IN_CLOSE_WRITE | IN_MODIFY | IN_MOVED_FROM | IN_MOVED_TO |
                                               IN_DELETE | IN_ONLYDIR | IN_DONT_FOLLOW);
        if (id >= 0) {
            m_watched.insert(id, relative);
        } else if (errno == ENOSPC) {
            qWarning("No more folders can be watched; changes by hand in %s are seen at the next start.",
                     qUtf8Printable(relative));
        }
    };
    add(path);
    QDirIterator folders(m_store.absolute(path), QDir::Dirs | QDir::Hidden | QDir::NoDotAndDotDot | QDir::NoSymLinks,
                         QDirIterator::Subdirectories);
    while (folders.hasNext())
        add(folders.next().mid(m_folder.path().size() + 1));
}

void FolderSync::forgetWatches(const QString &path) {
    m_watched.removeIf([&](const QHash<int, QString>::iterator &it) {
        const bool below = it.value() == path || it.value().startsWith(path + u'/');
        if (below)
            ::inotify_rm_watch(m_inotify, it.key());
        return below;
    });
}

void FolderSync::readEvents() {
    alignas(inotify_event) char buffer[64 * 1024];
    const qint64 now = nowMs();
    ssize_t size = 0;
    while ((size = ::read(m_inotify, buffer, sizeof buffer)) > 0) {
        for (ssize_t at = 0; at < size;) {
            const auto *event = reinterpret_cast<const inotify_event *>(buffer + at);
            at += ssize_t(sizeof(inotify_event)) + event->len;
            if (event->mask & IN_Q_OVERFLOW) {
                watch(top);
                markAll();
                continue;
            }
            if (event->len == 0 || !m_watched.contains(event->wd))
                continue;
            const QString path = m_watched.value(event->wd) + u'/' + QFile::decodeName(event->name);
            m_dirty[path] = now;
            if ((event->mask & IN_ISDIR) && (event->mask & (IN_MOVED_FROM | IN_DELETE))) {
                forgetWatches(path);
            } else if ((event->mask & IN_ISDIR) && (event->mask & (IN_CREATE | IN_MOVED_TO))) {
                watch(path);
                markBelow(path);
            }
        }
    }
}

void FolderSync::markBelow(const QString &path) {
    const qint64 now = nowMs();
    QDirIterator all(m_store.absolute(path), QDir::AllEntries | QDir::Hidden | QDir::System | QDir::NoDotAndDotDot,
                     QDirIterator::Subdirectories);
    while (all.hasNext())
        m_dirty[all.next().mid(m_folder.path().size() + 1)] = now;
}

void FolderSync::markAll() {
    markBelow(top);
    const DriveStore::Access access = m_store.access();
    const auto mark = [this](const auto &self, const Node &node, const QString &path) -> void {
        for (auto it = node.onDisk.begin(); it != node.onDisk.end(); ++it) {
            m_dirty[path + u'/' + it.key()] = nowMs();
            self(self, *it.value(), path + u'/' + it.key());
        }
    };
    mark(mark, access.tree.root(), top);
}

void FolderSync::settle(qint64 quietMs) {
    const qint64 now = nowMs();
    QStringList present;
    QStringList missing;
    for (auto it = m_dirty.begin(); it != m_dirty.end(); ++it) {
        const bool gone = kindOf(m_store.absolute(it.key())) == Kind::missing;
        // A deletion may be half of a move whose other half is still to be read.
        if (now - it.value() >= (gone ? 2 * quietMs : quietMs))
            (gone ? missing : present).append(it.key());
    }
    // Sorted by path, so folders come before what is in them; new places before missing ones, so that a move is seen.
    for (const QString &path : std::as_const(present)) {
        try {
            if (takePresent(path))
                m_dirty.remove(path);
        } catch (const ApiError &error) {
            qWarning("%s: %s", qUtf8Printable(path), qUtf8Printable(error.message()));
            m_dirty[path] = nowMs();
        }
    }
    for (const QString &path : std::as_const(missing)) {
        m_dirty.remove(path);
        takeMissing(path);
    }
}

DriveTree::Node *FolderSync::nodeAt(DriveTree &tree, const QString &path) {
    Node *node = &tree.root();
    const QStringList names = path.split(u'/').mid(1);
    for (const QString &name : names)
        node = node ? node->onDisk.value(name) : nullptr;
    return node;
}

bool FolderSync::takePresent(const QString &path) {
    // With the lock, or a folder that a client moves meanwhile would be taken for a second one.
    DriveStore::Access access = m_store.access();
    const Kind kind = kindOf(m_store.absolute(path));
    if (kind != Kind::file && kind != Kind::folder)
        return true;
    Node *node = nodeAt(access.tree, path);
    const DiskStamp stamp = DriveTree::stampOf(m_store.absolute(path));
    if (node && node->entry.isFolder() != (kind == Kind::folder)) {
        trashWithoutContent(access.tree, *node);
        node = nullptr;
    }
    if (node && node->entry.stamp == stamp)
        return true;
    if (node && kind == Kind::folder) {
        DriveEntry entry = node->entry;
        entry.stamp = stamp;
        access.tree.apply({.put = {entry}});
        return true;
    }
    if (!node) {
        Node *parent = nodeAt(access.tree, parentPath(path));
        if (!parent) {
            m_dirty[parentPath(path)] = 0;
            return false;
        }
        if (takeMoved(access.tree, *parent, lastName(path), stamp, kind == Kind::folder))
            return kind == Kind::folder || access.tree.findByInode(stamp.inode)->entry.stamp == stamp;
    }
    if (kind == Kind::folder) {
        DriveEntry entry;
        entry.id = DriveTree::newId();
        entry.name = entry.diskName = lastName(path);
        entry.parentId = nodeAt(access.tree, parentPath(path))->entry.id;
        entry.mimeType = QLatin1StringView(folderType);
        entry.createdMs = entry.modifiedMs = nowMs();
        entry.stamp = stamp;
        access.tree.apply({.put = {entry}});
        return true;
    }
    access.lock.unlock();
    return takeContent(path);
}

bool FolderSync::takeMoved(DriveTree &tree, Node &parent, const QString &name, const DiskStamp &stamp, bool folder) {
    Node *node = tree.findByInode(stamp.inode);
    if (!node || node->entry.isFolder() != folder || node->entry.stamp.birthNs != stamp.birthNs ||
        tree.isBelow(parent, *node) || DriveTree::stampOf(m_store.absolute(tree.pathOf(*node))).inode == stamp.inode) {
        return false;
    }
    DriveEntry entry = node->entry;
    entry.parentId = parent.entry.id;
    entry.trashed = false;
    entry.name = entry.diskName = name;
    tree.apply({.put = {entry}});
    return true;
}

bool FolderSync::takeContent(const QString &path) {
    // The sum is made without the lock: a large file must not hold up the clients.
    const QString absolute = m_store.absolute(path);
    const int fd = ::open(QFile::encodeName(absolute).constData(), O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC);
    if (fd < 0)
        return kindOf(absolute) != Kind::missing;
    const auto close = qScopeGuard([fd] { ::close(fd); });
    const Writers writers = writersOf(fd);
    if (writers == Writers::some ||
        (writers == Writers::unknown && nowMs() - m_dirty.value(path) < quietWithoutLeaseMs)) {
        return false;
    }
    const DiskStamp before = DriveTree::stampOf(absolute);
    const QString md5 = md5OfDescriptor(fd);
    const DriveStore::Access access = m_store.access();
    if (md5.isEmpty() || DriveTree::stampOf(absolute) != before ||
        (writers == Writers::none && writersOf(fd) != Writers::none)) {
        return false;
    }
    Node *parent = nodeAt(access.tree, parentPath(path));
    if (!parent)
        return false;
    Node *node = nodeAt(access.tree, path);
    DriveEntry entry = node ? node->entry : DriveEntry();
    if (!node) {
        entry.id = DriveTree::newId();
        entry.name = entry.diskName = lastName(path);
        entry.parentId = parent->entry.id;
        entry.mimeType = QMimeDatabase().mimeTypeForFile(entry.name, QMimeDatabase::MatchExtension).name();
        entry.createdMs = nowMs();
    }
    entry.size = before.size;
    entry.md5 = md5;
    entry.modifiedMs = before.modifiedNs / 1'000'000;
    entry.stamp = before;
    access.tree.apply({.put = {entry}});
    return true;
}

void FolderSync::takeMissing(const QString &path) {
    const DriveStore::Access access = m_store.access();
    Node *node = nodeAt(access.tree, path);
    if (node && node != &access.tree.root() && kindOf(m_store.absolute(path)) == Kind::missing)
        trashWithoutContent(access.tree, *node);
}

void FolderSync::trashWithoutContent(DriveTree &tree, Node &node) {
    Transaction step;
    const auto collect = [&step](const auto &self, const Node &at) -> void {
        for (const auto &[ordinal, child] : at.children) {
            self(self, *child);
            step.drop.append(child->entry.id);
        }
    };
    collect(collect, node);
    DriveEntry entry = node.entry;
    entry.trashed = entry.gone = true;
    entry.size = 0;
    step.put = {entry};
    tree.apply(step);
}

} // namespace quillmount::standin
