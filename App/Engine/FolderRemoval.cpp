// SPDX-License-Identifier: LicenseRef-Quillmount
#include "App/Engine/FolderRemoval.h"

#include "App/Concurrency/Background.h"

#include <QByteArrayList>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QLoggingCategory>
#include <QUuid>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <dirent.h>
#include <fcntl.h>
#include <functional>
#include <memory>
#include <optional>
#include <sys/stat.h>
#include <unistd.h>
#include <utility>

namespace quillmount {

using namespace Qt::StringLiterals;

Q_DECLARE_LOGGING_CATEGORY(engineLog)

namespace {

constexpr auto mark = ".removed-"_L1;
constexpr int folderFlags = O_RDONLY | O_DIRECTORY | O_CLOEXEC;

using Folder = std::unique_ptr<DIR, int (*)(DIR *)>;

// Null when it cannot be opened; errno says why.
Folder openFolder(int parent, const char *name, int flags) {
    const int descriptor = ::openat(parent, name, flags);
    DIR *folder = descriptor < 0 ? nullptr : ::fdopendir(descriptor);
    if (descriptor >= 0 && !folder)
        ::close(descriptor);
    return {folder, ::closedir};
}

// Which mount an open folder is on: a file system may be mounted in several places.
std::optional<quint64> mountOf(const Folder &folder) {
    struct statx found = {};
    if (::statx(::dirfd(folder.get()), "", AT_EMPTY_PATH, STATX_MNT_ID, &found) != 0 ||
        !(found.stx_mask & STATX_MNT_ID))
        return std::nullopt;
    return found.stx_mnt_id;
}

int removeEntry(const Folder &parent, const char *name, quint64 mount);

int removeEntries(const Folder &folder, quint64 mount) {
    int failures = 0;
    while (const dirent *entry = ::readdir(folder.get())) {
        if (std::strcmp(entry->d_name, ".") != 0 && std::strcmp(entry->d_name, "..") != 0)
            failures += removeEntry(folder, entry->d_name, mount);
    }
    return failures;
}

// How many files and folders are still there.
int removeEntry(const Folder &parent, const char *name, quint64 mount) {
    if (::unlinkat(::dirfd(parent.get()), name, 0) == 0 || errno == ENOENT)
        return 0;
    if (errno != EISDIR && errno != EPERM)
        return 1;
    int failures = 0;
    {
        const Folder folder = openFolder(::dirfd(parent.get()), name, folderFlags | O_NOFOLLOW);
        if (!folder)
            return 1;
        // Asked of the open folder, so that it is the one that is emptied.
        if (mountOf(folder) != mount)
            return 1;
        failures = removeEntries(folder, mount);
    }
    return failures + (::unlinkat(::dirfd(parent.get()), name, AT_REMOVEDIR) == 0 ? 0 : 1);
}

int removeNow(const QByteArrayList &paths) {
    int failures = 0;
    for (const QByteArray &path : paths) {
        const qsizetype slash = path.lastIndexOf('/');
        const Folder parent = openFolder(AT_FDCWD, path.first(slash + 1).constData(), folderFlags);
        const std::optional<quint64> mount = parent ? mountOf(parent) : std::nullopt;
        failures += mount ? removeEntry(parent, path.constData() + slash + 1, *mount) : 1;
    }
    return failures;
}

QString newName() {
    return mark + QUuid::createUuid().toString(QUuid::WithoutBraces);
}

bool isNewName(const QString &ending) {
    return ending.startsWith(mark) && !QUuid::fromString(ending.mid(mark.size())).isNull();
}

QStringList entriesOf(const QString &folder) {
    return QDir(folder).entryList(QDir::AllEntries | QDir::Hidden | QDir::System | QDir::NoDotAndDotDot);
}

bool renameTo(const QString &path, const QString &newPath) {
    return std::rename(QFile::encodeName(path).constData(), QFile::encodeName(newPath).constData()) == 0;
}

// What follows a removal must not survive a power cut that the removal does not.
void syncFolder(const QString &path) {
    const int folder = ::open(QFile::encodeName(path).constData(), folderFlags);
    if (folder < 0)
        return;
    ::fsync(folder);
    ::close(folder);
}

} // namespace

FolderRemoval::SetAside FolderRemoval::setAside(const QString &folder) {
    const QFileInfo found(folder);
    if (!found.isDir()) {
        const bool isThere = found.exists() || found.isSymLink();
        return {!isThere, isThere && !found.isSymLink() ? QStringList(folder) : QStringList()};
    }
    const QString beside = folder + newName();
    if (!found.isSymLink() && renameTo(folder, beside)) {
        syncFolder(found.path());
        return {true, {beside}};
    }
    SetAside result{true, {folder + u'/' + newName()}};
    const bool hasPlace = QDir().mkdir(result.toDelete.first());
    const QStringList entries = entriesOf(folder);
    for (const QString &entry : entries) {
        const QString path = folder + u'/' + entry;
        if (isNewName(entry) || (hasPlace && renameTo(path, result.toDelete.first() + u'/' + entry)))
            continue;
        result.isComplete = false;
        result.toDelete.append(path);
    }
    return result;
}

QStringList FolderRemoval::leftOf(const QStringList &folders) {
    QStringList left;
    for (const QString &folder : folders) {
        const QFileInfo info(folder);
        const QStringList beside = entriesOf(info.path());
        for (const QString &entry : beside)
            if (entry.startsWith(info.fileName()) && isNewName(entry.mid(info.fileName().size())))
                left.append(info.path() + u'/' + entry);
        const QStringList inside = entriesOf(folder);
        for (const QString &entry : inside)
            if (isNewName(entry))
                left.append(folder + u'/' + entry);
    }
    return left;
}

QCoro::Task<int> FolderRemoval::deleteAll(QStringList paths) {
    QByteArrayList names;
    for (const QString &path : std::as_const(paths))
        names.append(QFile::encodeName(path));
    std::function<int()> work = [names] { return removeNow(names); };
    const int failures = co_await inBackground(std::move(work));
    if (failures > 0)
        qCWarning(engineLog, "%d files and folders of Quillmount's own could not be deleted", failures);
    co_return failures;
}

} // namespace quillmount
