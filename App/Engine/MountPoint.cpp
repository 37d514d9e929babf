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

} // namespace quillmount
