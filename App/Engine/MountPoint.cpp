// SPDX-License-Identifier: LicenseRef-Quillmount
#include "App/Engine/MountPoint.h"

#include "App/Support/Paths.h"
#include "Platform/Platform.h"

#include <QDateTime>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QLoggingCategory>
#include <QSaveFile>

#include <cerrno>
#include <cstdio>
#include <dirent.h>
#include <fcntl.h>
#include <filesystem>
#include <memory>
#include <sys/stat.h>
#include <unistd.h>

namespace quillmount {

using namespace Qt::StringLiterals;

Q_DECLARE_LOGGING_CATEGORY(engineLog)

namespace {

constexpr mode_t readOnlyFolder = 0500;
constexpr mode_t clearedUpByTheUser = 0700;

// A folder that was opened as what stands at the path itself, not as what a link there leads to: what is found out
// about it, and what is changed, is one and the same folder.
class Folder {
public:
    explicit Folder(const QString &path)
        : m_descriptor(::open(QFile::encodeName(path).constData(), O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC)) {}
    ~Folder() {
        if (m_descriptor >= 0)
            ::close(m_descriptor);
    }
    Q_DISABLE_COPY_MOVE(Folder)

    [[nodiscard]] bool isOpen() const { return m_descriptor >= 0; }

    [[nodiscard]] bool isEmpty() const {
        const std::unique_ptr<DIR, int (*)(DIR *)> entries(::fdopendir(::dup(m_descriptor)), ::closedir);
        if (!entries)
            return false;
        ::rewinddir(entries.get());
        errno = 0;
        int count = 0;
        while (::readdir(entries.get()))
            ++count; // "." and ".." among them
        return errno == 0 && count <= 2;
    }

    // What no other folder has: an inode number is used again, but not with the same time of birth.
    [[nodiscard]] QByteArray identity() const {
        struct statx found = {};
        if (::statx(m_descriptor, "", AT_EMPTY_PATH, STATX_INO | STATX_BTIME, &found) != 0)
            return {};
        const qint64 born = found.stx_mask & STATX_BTIME ? found.stx_btime.tv_sec : 0;
        const quint32 fraction = found.stx_mask & STATX_BTIME ? found.stx_btime.tv_nsec : 0;
        return QByteArray::number(quint64(found.stx_ino)) + ' ' + QByteArray::number(born) + '.' +
               QByteArray::number(fraction);
    }

    [[nodiscard]] bool isOwnedByUser() const {
        struct stat found = {};
        return ::fstat(m_descriptor, &found) == 0 && found.st_uid == ::geteuid();
    }

    // Everything below it is on its disk: no other file system is mounted there.
    [[nodiscard]] dev_t device() const {
        struct stat found = {};
        ::fstat(m_descriptor, &found);
        return found.st_dev;
    }

    // Returns when everything on its file system has been written.
    bool sync() const { return ::syncfs(m_descriptor) == 0; }

    bool setMode(mode_t mode) const { return ::fchmod(m_descriptor, mode) == 0; }

private:
    int m_descriptor;
};

bool isOurs(const Folder &folder) {
    QFile mark(Paths::mountPointMark());
    const QByteArray identity = folder.identity();
    return !identity.isEmpty() && mark.open(QIODevice::ReadOnly) && mark.readAll().trimmed() == identity;
}

void markAsOurs(const Folder &folder) {
    if (isOurs(folder))
        return;
    QDir().mkpath(QFileInfo(Paths::mountPointMark()).path());
    QSaveFile mark(Paths::mountPointMark());
    // Without the mark the folder is taken for the user's own once there is something in it, and nothing is lost.
    if (!mark.open(QIODevice::WriteOnly) || mark.write(folder.identity() + '\n') < 0 || !mark.commit())
        qCWarning(engineLog, "the mount point could not be noted as Quillmount's own: %ls",
                  qUtf16Printable(mark.errorString()));
}

bool isThere(const QString &path) {
    const QFileInfo info(path);
    return info.exists() || info.isSymLink();
}

// Beside the mount point, named so that the user knows what it is and when it happened.
QString asideName(const QString &path) {
    const auto now = Platform::current().clock->now().time_since_epoch().count();
    const QString when = QDateTime::fromMSecsSinceEpoch(now).toString(u"yyyy-MM-dd HH.mm.ss"_s);
    const QString base = path + u" - saved while the drive was away "_s + when;
    QString name = base;
    for (int number = 2; isThere(name); ++number)
        name = base + u" (%1)"_s.arg(number);
    return name;
}

namespace fs = std::filesystem;

// Throws fs::filesystem_error.
void requireOneDevice(const fs::path &entry, dev_t device) {
    const auto check = [device](const fs::path &path) {
        struct stat found = {};
        if (::lstat(path.c_str(), &found) != 0 || found.st_dev != device)
            throw fs::filesystem_error("mounted inside", path, std::make_error_code(std::errc::cross_device_link));
    };
    check(entry);
    if (fs::symlink_status(entry).type() != fs::file_type::directory)
        return;
    for (const auto &inner : fs::recursive_directory_iterator(entry))
        check(inner.path());
}

// Copies the times of the files as well. Throws fs::filesystem_error.
void copyAll(const fs::path &from, const fs::path &to) {
    fs::copy(from, to, fs::copy_options::recursive | fs::copy_options::copy_symlinks);
    const auto keepTime = [](const fs::path &source, const fs::path &copy) {
        if (fs::symlink_status(source).type() == fs::file_type::regular)
            fs::last_write_time(copy, fs::last_write_time(source));
    };
    keepTime(from, to);
    if (fs::symlink_status(from).type() == fs::file_type::directory)
        for (const auto &inner : fs::recursive_directory_iterator(from))
            keepTime(inner.path(), to / fs::relative(inner.path(), from));
}

// Moves every entry of one folder into another. What cannot be moved stays, and then it throws fs::filesystem_error.
void moveEntries(const fs::path &from, const fs::path &to, const Folder &source) {
    std::vector<fs::path> entries;
    for (const auto &entry : fs::directory_iterator(from))
        entries.push_back(entry.path());
    for (const fs::path &entry : entries) {
        const fs::path target = to / entry.filename();
        if (std::rename(entry.c_str(), target.c_str()) == 0)
            continue;
        if (errno != EXDEV)
            throw fs::filesystem_error("rename", entry, std::error_code(errno, std::system_category()));
        requireOneDevice(entry, source.device());
        copyAll(entry, target);
        // Only what is safely there is deleted here.
        const Folder made(QString::fromStdString(to.string()));
        if (!made.isOpen() || !made.sync())
            throw fs::filesystem_error("sync", to, std::error_code(errno, std::system_category()));
        fs::remove_all(entry);
    }
}

} // namespace

bool MountPoint::isTaken(const QString &path) {
    if (!isThere(path))
        return false;
    const Folder folder(path);
    return !folder.isOpen() || (!folder.isEmpty() && !isOurs(folder));
}

MountPoint::Preparation MountPoint::prepare(const QString &path) {
    if (isTaken(path))
        return {};
    Preparation preparation;
    if (const Folder former(path); former.isOpen() && !former.isEmpty()) {
        const QString aside = asideName(path);
        if (std::rename(QFile::encodeName(path).constData(), QFile::encodeName(aside).constData()) != 0) {
            const int error = errno;
            qCWarning(engineLog, "what was saved into the mount point cannot be moved: %ls",
                      qUtf16Printable(qt_error_string(error)));
            return {};
        }
        preparation.setAside = aside;
        former.setMode(clearedUpByTheUser);
    }
    QDir().mkpath(path);
    const Folder folder(path);
    // Looked at once more: somebody may have been quicker.
    if (!folder.isOpen() || !folder.isEmpty())
        return preparation;
    folder.setMode(readOnlyFolder);
    markAsOurs(folder);
    preparation.isUsable = true;
    return preparation;
}

MountPoint::Preparation MountPoint::prepareKept(const QString &path, const QString &home) {
    Preparation preparation;
    const Folder folder(path);
    if (!folder.isOpen() || !folder.isOwnedByUser())
        return preparation;
    if (!folder.isEmpty()) {
        const QString aside = asideName(home);
        folder.setMode(clearedUpByTheUser);
        try {
            if (!QDir().mkdir(aside, QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner))
                throw fs::filesystem_error("mkdir", std::error_code(errno, std::system_category()));
            preparation.setAside = aside;
            moveEntries(QFile::encodeName(path).toStdString(), QFile::encodeName(aside).toStdString(), folder);
        } catch (const std::exception &error) {
            qCWarning(engineLog, "what was saved into the mount point cannot be moved: %s", error.what());
        }
    }
    preparation.isUsable = folder.setMode(readOnlyFolder) && folder.isEmpty();
    return preparation;
}

void MountPoint::giveBack(const QString &path) {
    if (Platform::current().mountTable->isMounted(path) || ::rmdir(QFile::encodeName(path).constData()) == 0)
        return;
    if (const Folder folder(path); folder.isOpen() && isOurs(folder))
        folder.setMode(clearedUpByTheUser);
}

} // namespace quillmount
